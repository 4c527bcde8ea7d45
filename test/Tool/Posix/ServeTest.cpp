// quirl serve and quirl watch as their users meet them: each test runs several programs, which talk over real
// sockets, and looks at what they print, save and answer.

#include "Support/ChildProcess.h"
#include "Support/Paths.h"
#include "Support/Sanitizer.h"
#include "Support/TempFolder.h"
#include "Support/ToolFixture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

#include <sys/wait.h>

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

namespace
{

// A table with a list of two, a shared object, an array and properties of its own.
constexpr char CREW[] = R"(<Object Module="QBase" Class="Table" Path="root">
  <Property Name="Note" Type="String" Dynamic="true">calm</Property>
  <Property Name="Sizes" Type="int" Array="true" Dynamic="true"><Value>3</Value><Value>4</Value></Property>
  <Child Name="crew">root[crew]</Child>
  <Child Name="captain">root[crew][0]</Child>
</Object>
<Object Module="QBase" Class="List" Path="root[crew]">
  <Child Index="0">root[crew][0]</Child>
  <Child Index="1">root[crew][1]</Child>
</Object>
<Object Module="QBase" Class="Object" Path="root[crew][0]">
  <Property Name="Rate" Type="float" Dynamic="true">0.5</Property>
</Object>
<Object Module="QBase" Class="Object" Path="root[crew][1]">
  <Property Name="Rate" Type="float" Dynamic="true">0.25</Property>
  <Property Name="Friend" Type="Object" Dynamic="true">root[crew][0]</Property>
</Object>
)";

std::vector<std::string> Lines(const std::string& text)
{
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

// The commands of a test find these beside quirl itself. Nothing is waited for longer than a minute.
constexpr char COMMANDS[] = R"(
    programs=
    trap 'for program in $programs; do kill -KILL $program 2>/dev/null; done' EXIT
    # wait_for FILE TEXT: until the file has the text.
    wait_for() {
        for i in $(seq 1200); do
            grep -q -e "$2" "$1" 2>/dev/null && return
            sleep 0.05
        done
        echo "never in $1: $2"
        exit 99
    }
    # serve FILE OPTION...: in the background; sets server and port.
    serve() {
        rm -f serve.txt
        "$quirl" serve "$@" --port 0 >serve.txt 2>serve-errors.txt &
        server=$!; programs="$programs $server"
        wait_for serve.txt 'at port'
        port=$(sed 's/.* at port //' serve.txt)
    }
    # watch NAME ADDRESS OPTION...: in the background, saves to NAME.qobj, prints to NAME.txt; sets watcher.
    watch() {
        name=$1; shift
        rm -f "$name.txt"
        "$quirl" watch "$@" --save "$name.qobj" >"$name.txt" 2>"$name-errors.txt" &
        watcher=$!; programs="$programs $watcher"
    }
    # relay NAME ADDRESS OPTION...: a watch that others can join; sets relay and relay_port.
    relay() {
        watch "$@" --relay 0
        relay=$watcher
        wait_for "$name.txt" 'Relaying'
        relay_port=$(sed -n 's/Relaying at port //p' "$name.txt")
    }
    # stop: the server ends, and with it all who watch.
    stop() {
        kill -INT "$server"
        wait "$server"; server_exit=$?
        wait
    }
)";

class ServeTest : public testing::Test
{
protected:
    /// What a watcher says at last when its source is gone.
    std::string Farewell(const std::string& name)
    {
        return "quirl: note: '127.0.0.1:" + Port() +
               "' ended\nquirl: note: The source is gone, its last state is in '" + name +
               ".qobj'; start quirl watch anew when it is back\n";
    }

    /// Runs shell commands in the folder of the test. What they print.
    std::string Run(const std::string& commands)
    {
        mFolder.Write("commands.sh", "quirl='" + BinaryPath("quirl") + "'\ncd '" + mFolder.Path("").c_str() +
                                         "'\n" + COMMANDS + commands);
        const int status = std::system(("sh '" + std::string(mFolder.Path("commands.sh").c_str()) + "' >'" +
                                        mFolder.Path("out.txt").c_str() + "' 2>&1 </dev/null")
                                           .c_str());
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) != 99) << mFolder.Read("out.txt");
        return mFolder.Read("out.txt");
    }

    std::string Read(const char* pName) { return mFolder.Read(pName); }

    /// The lines of the pass with that number, as watch --json printed them.
    std::vector<std::string> Pass(const char* pName, int number)
    {
        std::vector<std::string> lines = Lines(mFolder.Read(pName));
        const std::string start = "{\"pass\":" + std::to_string(number) + ",";
        lines.erase(std::remove_if(lines.begin(), lines.end(),
                                   [&](const std::string& line) { return line.rfind(start, 0) != 0; }),
                    lines.end());
        return lines;
    }

    /// Serves one document and then another; both have "calm" in them, which the test uses to see the end.
    /// True when the replica then equals the second.
    void ExpectFollowed(const std::string& first, const std::string& second)
    {
        mFolder.Write("graph.QXml", Document(first));
        mFolder.Write("next.QXml", Document(Replaced(second, "calm", "done")));
        EXPECT_EQ(Run("serve graph.QXml; watch replica localhost:$port --json\n"
                      "wait_for replica.txt calm; mv next.QXml graph.QXml; wait_for replica.txt done; stop\n"
                      "\"$quirl\" diff graph.QXml replica.qobj\n"),
                  "");
        EXPECT_EQ(Read("replica-errors.txt"), Farewell("replica"));
        EXPECT_THAT(Read("serve-errors.txt"), Not(HasSubstr("error")));
    }

    std::string Port()
    {
        const std::string text = Read("serve.txt");
        const std::size_t start = text.rfind(' ') + 1;
        return text.substr(start, text.size() - start - 1);
    }

    TempFolder mFolder;
};

} // namespace

TEST_F(ServeTest, AnEditOfOneValueIsOneEvent)
{
    mFolder.Write("crew.QXml", Document(CREW));
    mFolder.Write("next.QXml", Document(Replaced(CREW, ">0.25<", ">0.75<")));
    EXPECT_EQ(Run("serve crew.QXml; watch replica localhost:$port --json\n"
                  "wait_for replica.txt new-root; cp next.QXml crew.QXml; wait_for replica.txt 0.75; stop\n"
                  "echo $server_exit; \"$quirl\" diff next.QXml replica.qobj && echo equal\n"),
              "0\nequal\n");
    EXPECT_THAT(
        Pass("replica.txt", 2),
        ElementsAre("{\"pass\":2,\"event\":\"modify-value\",\"path\":\"root[crew][1]\",\"name\":\"Rate\","
                    "\"type\":\"float\",\"value\":0.75,\"old\":0.25}"));
    EXPECT_THAT(Pass("replica.txt", 3), IsEmpty());
}

TEST_F(ServeTest, CapturedFramesAreUnderstoodToTheLastByte)
{
    mFolder.Write("crew.QXml", Document(CREW));
    mFolder.Write("next.QXml", Document(Replaced(CREW, ">0.25<", ">0.75<")));
    EXPECT_EQ(
        Run("serve crew.QXml; watch replica localhost:$port --capture frames.bin\n"
            "wait_for replica.txt '~ root is'; cp next.QXml crew.QXml; wait_for replica.txt 0.75; stop\n"
            "\"$quirl\" annotate frames.bin >frames.txt; echo $?\n"),
        "0\n");
    EXPECT_THAT(Read("frames.txt"), StartsWith("00000000  "));
    EXPECT_THAT(Read("frames.txt"), HasSubstr("packet 4: property changes\n"));
    EXPECT_THAT(Read("frames.txt"), EndsWith("= 0.75\n"));
    const std::string change = Read("frames.bin").substr(Read("frames.bin").size() - 13); // one packet
    EXPECT_EQ(change.substr(0, 5), std::string("\x09\0\0\0\x04", 5));
    EXPECT_EQ(change.substr(7), std::string("\0\0\0\0\x40\x3F", 6)); // behind the property's id: 0.75
    EXPECT_THAT(Run("\"$quirl\" watch localhost:1 --capture no/such/folder\n"),
                HasSubstr("Failed to capture to 'no/such/folder'; choose a file that can be written\n"));
}

TEST_F(ServeTest, ThePrintedLinesTellWhatComesChangesAndGoes)
{
    mFolder.Write("crew.QXml", Document(CREW));
    std::string next = Replaced(CREW, ">calm<", ">wild<");
    next = Replaced(next, "<Value>4</Value>", "");
    next = Replaced(next, "  <Child Name=\"captain\">root[crew][0]</Child>\n", "");
    mFolder.Write("next.QXml", Document(next));
    Run("serve crew.QXml; watch replica localhost:$port\n"
        "wait_for replica.txt '~ root is'; mv next.QXml crew.QXml; wait_for replica.txt captain\n"
        "wait_for replica.txt wild; stop\n");
    const std::vector<std::string> lines = Lines(Read("replica.txt"));
    const auto end = std::find(lines.begin(), lines.end(), "~ root is QBase.Table");
    ASSERT_NE(end, lines.end());
    std::vector<std::string> first(lines.begin(), end);
    std::vector<std::string> second(end + 1, lines.end());
    std::sort(first.begin(), first.end()); // the order among names is that of their buckets
    std::sort(second.begin(), second.end());
    EXPECT_THAT(first,
                ElementsAre("+ root.Note = \"calm\"", "+ root.Sizes: array of int", "+ root.Sizes[0] = 3",
                            "+ root.Sizes[1] = 4", "+ root: QBase.Table", "+ root[captain] = root[crew][0]",
                            "+ root[crew] = root[crew]", "+ root[crew]: QBase.List",
                            "+ root[crew][0] = root[crew][0]", "+ root[crew][0].Rate = 0.5",
                            "+ root[crew][0]: QBase.Object", "+ root[crew][1] = root[crew][1]",
                            "+ root[crew][1].Friend = root[crew][0]", "+ root[crew][1].Rate = 0.25",
                            "+ root[crew][1]: QBase.Object"));
    EXPECT_THAT(second, ElementsAre("- root[captain]", "~ root.Note = \"wild\" (was \"calm\")",
                                    "~ root.Sizes: cut to 1"));
}

TEST_F(ServeTest, EditsOfEveryKindAreFollowed)
{
    ExpectFollowed(CREW, Replaced(CREW, "Array=\"true\" Dynamic=\"true\"><Value>3</Value>",
                                  "Array=\"true\" Dynamic=\"true\"><Value>3</Value><Value>9</Value>"));
    // A property comes, one goes, one changes its type.
    ExpectFollowed(CREW, Replaced(CREW, "<Property Name=\"Sizes\" Type=\"int\"",
                                  "<Property Name=\"Extra\" Type=\"bool\" Dynamic=\"true\">true</Property>"
                                  "<Property Name=\"Sizes\" Type=\"float\""));
    ExpectFollowed(CREW, Replaced(CREW,
                                  "  <Property Name=\"Friend\" Type=\"Object\" Dynamic=\"true\">root[crew][0]"
                                  "</Property>\n",
                                  ""));
    // A new object in front of the list, which refers to old ones.
    ExpectFollowed(CREW,
                   Replaced(Replaced(CREW, "<Child Index=\"0\">root[crew][0]</Child>",
                                     "<Child Index=\"0\">root[crew].new</Child>"
                                     "<Child Index=\"1\">root[crew][0]</Child>"),
                            "<Object Module=\"QBase\" Class=\"List\"",
                            "<Object Module=\"QBase\" Class=\"Object\" Path=\"root[crew].new\"><Property "
                            "Name=\"Home\" Type=\"Object\" Dynamic=\"true\">root</Property></Object>"
                            "<Object Module=\"QBase\" Class=\"List\""));
    // The list is gone, and with it one of its items.
    ExpectFollowed(CREW, Replaced(CREW, "  <Child Name=\"crew\">root[crew]</Child>\n", ""));
    // An object becomes one of another class under the same path.
    ExpectFollowed(CREW, Replaced(CREW, "Class=\"Object\" Path=\"root[crew][1]\"",
                                  "Class=\"Table\" Path=\"root[crew][1]\""));
    // The root does.
    ExpectFollowed(
        "<Object Module=\"QBase\" Class=\"Object\" Path=\"root\"><Property Name=\"Note\" Type=\"String\" "
        "Dynamic=\"true\">calm</Property></Object>",
        CREW);
}

TEST_F(ServeTest, AFileThatDoesNotLoadIsReportedAndTheLastStateStays)
{
    mFolder.Write("crew.QXml", Document(CREW));
    mFolder.Write("broken.QXml", "<broken");
    mFolder.Write("next.QXml", Document(Replaced(CREW, "calm", "healed")));
    EXPECT_EQ(Run("serve crew.QXml; watch replica localhost:$port --json\n"
                  "wait_for replica.txt calm; mv broken.QXml crew.QXml; wait_for serve-errors.txt 'last "
                  "state stays'\n"
                  "rm crew.QXml; sleep 0.4\n"
                  "mv next.QXml crew.QXml; wait_for replica.txt healed; stop; echo $server_exit\n"),
              "0\n");
    EXPECT_EQ(Pass("replica.txt", 2).size(), 1u);
}

// Each state is as long as the one before it and carries the same time.
TEST_F(ServeTest, AFileThatLooksTheSameIsFollowed)
{
    mFolder.Write("crew.QXml", Document(CREW));
    EXPECT_EQ(
        Run("serve crew.QXml; watch replica localhost:$port; wait_for replica.txt calm\n"
            "cp -p crew.QXml time\n"
            "sed s/calm/wild/ crew.QXml >next; touch -r time next; mv next crew.QXml\n" // another file
            "wait_for replica.txt wild\n"
            "sed s/wild/mild/ crew.QXml >next; cat next >crew.QXml; touch -r time crew.QXml\n" // the same
            "wait_for replica.txt mild; stop; echo $server_exit\n"
            "\"$quirl\" diff crew.QXml replica.qobj && echo equal\n"),
        "0\nequal\n");
    EXPECT_THAT(Read("serve-errors.txt"), Not(HasSubstr("warning")));
}

// The system takes note of the first of such writes only.
TEST_F(ServeTest, AFileThatIsWrittenThroughMappedMemoryIsFollowed)
{
    mFolder.Write("crew.QXml", Document(CREW));
    const std::string output =
        Run("command -v python3 >/dev/null || { echo none; exit 0; }\n"
            "serve crew.QXml; watch replica localhost:$port; wait_for replica.txt calm\n"
            "cat >write.py <<'END'\n"
            "import mmap, time\n"
            "with open('crew.QXml', 'r+b') as file:\n"
            "    memory = mmap.mmap(file.fileno(), 0)\n"
            "    place = memory.find(b'calm')\n"
            "    for word in (b'wild', b'mild', b'fine'):\n"
            "        memory[place:place + 4] = word\n"
            "        while word not in open('replica.txt', 'rb').read():\n"
            "            time.sleep(0.01)\n"
            "END\n"
            "python3 write.py & programs=\"$programs $!\"\n"
            "wait_for replica.txt fine; stop; echo $server_exit\n"
            "\"$quirl\" diff crew.QXml replica.qobj && echo equal\n");
    if (output == "none\n") {
        GTEST_SKIP() << "there is no python3";
    }
    EXPECT_EQ(output, "0\nequal\n");
    EXPECT_THAT(Read("serve-errors.txt"), Not(HasSubstr("warning")));
}

TEST_F(ServeTest, AFileThatCannotBeReadIsToldOnceAndFollowedAgainWhenItCan)
{
    mFolder.Write("crew.QXml", Document(CREW));
    EXPECT_EQ(Run("serve crew.QXml; watch replica localhost:$port; wait_for replica.txt calm\n"
                  "mv crew.QXml away; mkdir crew.QXml; wait_for serve-errors.txt 'last state stays'\n"
                  "sleep 2.5; rmdir crew.QXml\n" // it was read again meanwhile
                  "sed s/calm/wild/ away >next; mv next crew.QXml; wait_for replica.txt wild\n"
                  "grep -c 'irectory; check the path; the last state stays' serve-errors.txt; stop\n"),
              "1\n");
}

TEST_F(ServeTest, ObjectsOfAClassThatNobodyAgreedOnStayBehindWithAWarning)
{
    mFolder.Write("crew.QXml", Document(CREW));
    mFolder.Write("next.QXml",
                  Document(Replaced(Replaced(CREW, "calm", "healed for good"),
                                    "Module=\"QBase\" Class=\"Object\"", "Module=\"Pier\" Class=\"Crane\"")));
    EXPECT_EQ(
        Run("serve crew.QXml; watch replica localhost:$port\n"
            "wait_for replica.txt calm; mv next.QXml crew.QXml; wait_for replica.txt healed; stop; echo "
            "$server_exit\n"),
        "0\n");
    EXPECT_THAT(Read("serve-errors.txt"),
                HasSubstr("warning: Objects of Pier.Crane stay behind, since nobody agreed on that class; "
                          "start quirl serve anew\n"));
}

TEST_F(ServeTest, RelaysAndLatePeersSaveWhatTheSourceHas)
{
    EXPECT_EQ(Run("cp '" + SourcePath("example/solar/solar.QXml") +
                  "' solar.QXml; serve solar.QXml\n"
                  "relay relay localhost:$port\n"
                  "wait_for relay.txt 'root is'\n"
                  "sed -i 's/>Sun</>Sol</' solar.QXml; wait_for relay.txt Sol\n"
                  "watch late localhost:$relay_port\n"
                  "wait_for late.txt 'root is'\n"
                  "sed -i 's/>Sol</>Helios</' solar.QXml; wait_for late.txt Helios; stop\n"
                  "for name in relay late; do \"$quirl\" diff solar.QXml $name.qobj && echo equal; done\n"),
              "equal\nequal\n");
    EXPECT_EQ(Read("late-errors.txt").find("error"), std::string::npos) << Read("late-errors.txt");
    EXPECT_THAT(Read("late.txt"),
                StartsWith("+ root: Solar.Simulation\n")); // the module was found by its name
}

TEST_F(ServeTest, WatchersThatAreKilledHarmNobody)
{
    mFolder.Write("crew.QXml", Document(CREW));
    EXPECT_EQ(Run("serve crew.QXml; watch first localhost:$port; first=$watcher\n"
                  "watch second localhost:$port; wait_for first.txt calm; wait_for second.txt calm\n"
                  "kill -KILL $first; wait_for serve-errors.txt left\n"
                  "sed -i s/calm/brisk/ crew.QXml; wait_for second.txt brisk; stop\n"
                  "\"$quirl\" diff crew.QXml second.qobj && echo equal\n"),
              "equal\n");
}

TEST_F(ServeTest, AWatcherThatIsStoppedHoldsNobodyUpAndCatchesUp)
{
    mFolder.Write("crew.QXml", Document(CREW));
    EXPECT_EQ(Run("serve crew.QXml; watch first localhost:$port; first=$watcher\n"
                  "watch second localhost:$port; wait_for first.txt calm; wait_for second.txt calm\n"
                  "kill -STOP $first\n"
                  "sed -i s/calm/brisk/ crew.QXml; wait_for second.txt brisk\n"
                  "sed -i s/brisk/wild/ crew.QXml; wait_for second.txt wild; grep -c wild first.txt\n"
                  "kill -CONT $first; wait_for first.txt wild; stop\n"
                  "for name in first second; do \"$quirl\" diff crew.QXml $name.qobj && echo equal; done\n"),
              "0\nequal\nequal\n");
}

TEST_F(ServeTest, WhoJoinsARelayEndsWithItWhenItIsKilled)
{
    mFolder.Write("crew.QXml", Document(CREW));
    EXPECT_EQ(Run("serve crew.QXml; relay relay localhost:$port; watch late localhost:$relay_port\n"
                  "wait_for late.txt calm; kill -KILL $relay; wait $watcher; echo $?\n"
                  "wait_for serve-errors.txt left; watch next localhost:$port; wait_for next.txt calm; stop\n"
                  "for name in late next; do \"$quirl\" diff crew.QXml $name.qobj && echo equal; done\n"),
              "0\nequal\nequal\n");
}

TEST_F(ServeTest, StrangersThatSpeakSomethingElseAreRefused)
{
    mFolder.Write("crew.QXml", Document(CREW));
    EXPECT_EQ(
        Run("serve crew.QXml; export port\n"
            "bash -c 'exec 3<>/dev/tcp/127.0.0.1/$port; printf \"GET / HTTP/1.1\\r\\n\\r\\n\" >&3; cat <&3' "
            ">answer.txt; wait_for answer.txt 'it speaks another protocol'\n"
            "bash -c 'exec 3<>/dev/tcp/127.0.0.1/$port; printf QNet >&3'\n"
            "wait_for serve-errors.txt 'left before both had agreed'\n"
            "watch replica localhost:$port; wait_for replica.txt calm; stop; echo $server_exit\n"),
        "0\n");
    EXPECT_THAT(Read("serve-errors.txt"), HasSubstr("- it speaks another protocol\n"));
}

TEST_F(ServeTest, AWatcherKeepsTheLastStateOfASourceThatIsKilled)
{
    mFolder.Write("crew.QXml", Document(CREW));
    EXPECT_EQ(Run("serve crew.QXml; watch replica localhost:$port; wait_for replica.txt calm\n"
                  "kill -KILL $server; wait $watcher; echo $?\n"
                  "\"$quirl\" diff crew.QXml replica.qobj && echo equal\n"),
              "0\nequal\n");
    EXPECT_EQ(Read("replica-errors.txt"), Farewell("replica"));
}

TEST_F(ServeTest, ASourceThatComesBackIsJoinedByStartingAnew)
{
    mFolder.Write("crew.QXml", Document(CREW));
    EXPECT_EQ(Run("serve crew.QXml; watch replica localhost:$port; wait_for replica.txt calm\n"
                  "kill -KILL $server; wait $watcher; echo $?\n"
                  "\"$quirl\" watch localhost:$port 2>meanwhile.txt; echo $?\n"
                  "sed -i s/calm/wild/ crew.QXml\n"
                  "\"$quirl\" serve crew.QXml --port $port >serve.txt 2>serve-errors.txt & server=$!\n"
                  "programs=$server; wait_for serve.txt 'at port'\n"
                  "cp replica-errors.txt farewell.txt\n"
                  "watch replica localhost:$port; wait_for replica.txt wild; stop; echo $server_exit\n"
                  "\"$quirl\" diff crew.QXml replica.qobj && echo equal\n"),
              "0\n2\n0\nequal\n");
    EXPECT_EQ(Read("farewell.txt"), Farewell("replica"));
    EXPECT_THAT(Read("meanwhile.txt"), StartsWith("quirl: error: Failed to connect to 'localhost:"));
    EXPECT_THAT(Read("meanwhile.txt"), Not(HasSubstr("anew")));
}

TEST_F(ServeTest, ASourceThatGoesAwayWithinAChangeIsTroubleAndTheLastWholeStateIsSaved)
{
    EXPECT_EQ(Run("'" + BinaryPath("FramePeer") +
                  "' source 0 >serve.txt & server=$!; programs=$server\n"
                  "wait_for serve.txt port; port=$(sed -n 's/^port //p' serve.txt)\n"
                  "watch replica localhost:$port; wait_for replica.txt whole\n"
                  "kill -KILL $server; wait $watcher; echo $?\n"
                  "\"$quirl\" show replica.qobj | grep -c whole\n"),
              "2\n1\n");
    EXPECT_THAT(Read("replica-errors.txt"), HasSubstr("error: Failed to read a pass from '127.0.0.1:"));
    EXPECT_THAT(Read("replica-errors.txt"), HasSubstr("The source is gone, its last state is in "));
}

TEST_F(ServeTest, AWatcherThatIsInterruptedSavesAndEndsWell)
{
    mFolder.Write("crew.QXml", Document(CREW));
    EXPECT_EQ(Run("serve crew.QXml; watch replica localhost:$port --quiet\n"
                  "wait_for serve-errors.txt joined; sleep 0.2; kill -TERM $watcher; wait $watcher; echo $?\n"
                  "\"$quirl\" diff crew.QXml replica.qobj && echo equal; stop; cat replica.txt\n"),
              "0\nequal\n");
}

TEST_F(ServeTest, AListThatIsTooLongToSendIsTroubleAndNoReasonToStop)
{
    const auto document = [](int numItems) {
        std::string items;
        for (int i = 0; i < numItems; ++i) {
            items += "<Child Index=\"" + std::to_string(i) + "\"></Child>\n";
        }
        return Document("<Object Module=\"QBase\" Class=\"List\" Path=\"root\">\n" + items + "</Object>\n");
    };
    mFolder.Write("most.QXml", document(65536));
    mFolder.Write("more.QXml", document(65537));
    const std::string trouble =
        "Failed to serve \"root\" - it has 65537 items, and packets count no more than 65536; "
        "split it up";
    EXPECT_THAT(Run("\"$quirl\" serve more.QXml --port 0; echo $?\n"), EndsWith(trouble + "\n2\n"));
    EXPECT_EQ(Run("cp most.QXml crew.QXml; serve crew.QXml; watch replica localhost:$port --quiet\n"
                  "wait_for serve-errors.txt joined; cp more.QXml crew.QXml\n"
                  "wait_for serve-errors.txt 'the last state stays'; stop; echo $server_exit\n"
                  "\"$quirl\" diff most.QXml replica.qobj && echo equal\n"),
              "0\nequal\n");
    EXPECT_THAT(Read("serve-errors.txt"), HasSubstr(trouble + "; the last state stays\n"));

    std::string values;
    for (int i = 0; i < 65537; ++i) {
        values += "<Value>7</Value>";
    }
    mFolder.Write("array.QXml", Document("<Object Module=\"QBase\" Class=\"Object\" Path=\"root\"><Property "
                                         "Name=\"Sizes\" Type=\"int\" Array=\"true\" Dynamic=\"true\">" +
                                         values + "</Property></Object>\n"));
    EXPECT_THAT(
        Run("\"$quirl\" serve array.QXml --port 0; echo $?\n"),
        testing::AllOf(HasSubstr("Failed to serve \"root.Sizes\" - it has 65537 items"), EndsWith("\n2\n")));
}

TEST_F(ServeTest, WhoCallsAFunctionThatMakesAListTooLongIsDroppedAndNobodyElse)
{
    std::string items;
    for (int i = 0; i < 65536; ++i) {
        items += "<Child Index=\"" + std::to_string(i) + "\"></Child>\n";
    }
    mFolder.Write("sun.QXml",
                  Document("<Object Module=\"Solar\" Class=\"Simulation\" Path=\"root\">\n"
                           "  <Property Name=\"Sun\" Type=\"Object\">root.Sun</Property>\n</Object>\n"
                           "<Object Module=\"Solar\" Class=\"Body\" Path=\"root.Sun\">\n"
                           "  <Property Name=\"Name\" Type=\"String\">calm</Property>\n"
                           "  <Property Name=\"Satellites\" Type=\"Object\">root.Sun.Satellites</Property>\n"
                           "</Object>\n"
                           "<Object Module=\"QBase\" Class=\"List\" Path=\"root.Sun.Satellites\">\n" +
                           items + "</Object>\n"));
    EXPECT_EQ(Run("serve sun.QXml --allow AddSatellite; watch replica localhost:$port\n"
                  "wait_for replica.txt calm\n"
                  "'" +
                  BinaryPath("FramePeer") +
                  "' call $port Sun AddSatellite >call.txt 2>&1; echo $?\n"
                  "wait_for serve-errors.txt left\n"
                  "watch late localhost:$port; wait_for late.txt calm\n"
                  "sed -i s/calm/wild/ sun.QXml; wait_for replica.txt wild; wait_for late.txt wild\n"
                  "stop; echo $server_exit\n"
                  "for name in replica late; do \"$quirl\" diff sun.QXml $name.qobj && echo equal; done\n"),
              "0\n0\nequal\nequal\n");
    const std::string errors = Read("serve-errors.txt");
    EXPECT_THAT(errors, HasSubstr("quirl: error: ASSERT( packet.index == index )\n"
                                  "quirl: warning: Items of QBase.List behind the first 65536 are not sent - "
                                  "somebody called a function that added them\n"));
    EXPECT_EQ(errors.find(" left\n", errors.find(" left\n") + 1), errors.npos); // nobody else
}

TEST_F(ServeTest, WhatCannotBeServedIsTrouble)
{
    mFolder.Write("crew.QXml", Document(CREW));
    EXPECT_THAT(Run("\"$quirl\" serve - --port 0; echo $?\n"),
                EndsWith("- it cannot be watched for changes; name a file\n2\n"));
    EXPECT_THAT(Run("\"$quirl\" serve none.QXml --port 0; echo $?\n"), EndsWith("; check the path\n2\n"));
    EXPECT_THAT(Run("\"$quirl\" serve crew.QXml --port 65536; echo $?\n"), EndsWith("\n2\n"));
    EXPECT_THAT(Run("\"$quirl\" serve crew.QXml; echo $?\n"), EndsWith("\n2\n"));
    EXPECT_THAT(
        Run("\"$quirl\" serve crew.QXml --port 0 --address nowhere; echo $?\n"),
        EndsWith(
            "Failed to serve at port 0; choose another port or address, or --port 0 for a free port\n2\n"));
    EXPECT_THAT(Run("serve crew.QXml; \"$quirl\" serve crew.QXml --port $port; echo $?; stop\n"),
                HasSubstr("Failed to listen at '127.0.0.1:"));
}

TEST_F(ServeTest, WhatCannotBeWatchedIsTrouble)
{
    for (const char* pAddress : {"localhost", "localhost:", "localhost:0", "localhost:65536", ":4711",
                                 "localhost:47x", "4711", "localhost:4711:"}) {
        EXPECT_THAT(Run("\"$quirl\" watch '" + std::string(pAddress) + "'; echo $?\n"),
                    EndsWith("- it is no HOST:PORT; write localhost:4711 or [::1]:4711, for example\n2\n"));
    }
    mFolder.Write("crew.QXml", Document(CREW));
    EXPECT_THAT(
        Run("serve crew.QXml; stop; \"$quirl\" watch localhost:$port --save none.qobj; echo $?; ls\n"),
        testing::AllOf(HasSubstr("Failed to connect to 'localhost:"), HasSubstr("\n2\n"),
                       Not(HasSubstr("none.qobj"))));
}

TEST_F(ServeTest, WhoCannotStartAThreadCannotJoin)
{
    if (HAS_SANITIZER) {
        GTEST_SKIP() << "sanitizers take all address space";
    }
    // A stack that is larger than all that the program may have.
    const std::string output =
        Run("ulimit -v 400000; ulimit -s 1000000; \"$quirl\" watch localhost:4711; echo $?\n");
    EXPECT_THAT(output, HasSubstr("Failed to connect to 'localhost:4711' - "));
    EXPECT_THAT(output, EndsWith("Failed to join \"localhost\"; check the address\n2\n"));
}

TEST_F(ServeTest, AnotherModuleOfThatNameIsRefused)
{
    const std::string folder = BinaryPath("");
    EXPECT_THAT(
        Run("mkdir other; cp \"$quirl\" other; cp '" + folder +
            "OtherNet_Release.so' other/QNet_Release.so\n"
            "LD_LIBRARY_PATH='" +
            folder + "' other/quirl watch localhost:4711; echo $?\n"),
        EndsWith("Failed to construct QNet.Node - the module is another one; take the one that came with "
                 "quirl\n2\n"));
}

TEST_F(ServeTest, ModulesThatOnlyTheSourceNamesCanBeRefused)
{
    const std::string output = Run("serve '" + SourcePath("example/solar/solar.QXml") +
                                   "'; \"$quirl\" watch localhost:$port --given-modules-only; echo $?\n"
                                   "watch replica localhost:$port --given-modules-only --module Solar\n"
                                   "wait_for replica.txt 'root is'; stop\n");
    EXPECT_THAT(output, HasSubstr("- class Solar.Body is missing here\n"));
    EXPECT_THAT(output, EndsWith("2\n"));
}

TEST_F(ServeTest, TheSolarSceneIsTheSameInFourPrograms)
{
    if (!IsBuilt("SolarNet")) {
        GTEST_SKIP() << "examples are not built";
    }
    const std::string output = Run(
        "net='" + BinaryPath("SolarNet") + "'\n\"$net\" serve '" + SourcePath("example/solar/solar.QXml") +
        "' 400 source.qobj >serve.txt 2>&1 & server=$!; programs=$server\n"
        "wait_for serve.txt port; port=$(sed -n 's/^port //p' serve.txt)\n"
        "relay relay localhost:$port --quiet\n"
        "\"$net\" join localhost $relay_port late.qobj orbits.svg >late.txt & late=$!\n"
        "\"$net\" call localhost $relay_port >call.txt; echo $?\n"
        "for program in $server $late $relay; do wait $program; echo $?; done\n"
        "for name in relay late; do \"$quirl\" diff source.qobj $name.qobj && echo equal; done\n");
    EXPECT_EQ(output, "0\n0\n0\n0\nequal\nequal\n");
    EXPECT_THAT(Read("serve.txt"), HasSubstr("400 passes, "));
    EXPECT_THAT(Read("late.txt"), HasSubstr("and 9 planets, until day 800"));
    EXPECT_THAT(Read("call.txt"), HasSubstr("which had 8 planets and has 9 now"));
    EXPECT_THAT(Read("orbits.svg"), testing::AllOf(StartsWith("<svg "), HasSubstr(">Earth</text>"),
                                                   HasSubstr(">Nine</text>"), EndsWith("</svg>\n")));
}
