// What the library makes of the system's own means. This unit includes <windows.h> last, as a host may.

#include "QBase/CriticalSection.h"
#include "QBase/Error.h"
#include "QBase/ErrorHandler.h"
#include "QBase/ErrorHooks.h"
#include "QBase/Global.h"
#include "QBase/Ptr.h"
#include "QBase/SystemFile.h"
#include "QBase/Table.h"
#include "Support/CapturedConsole.h"
#include "Support/CapturedMessages.h"
#include "Support/ChildProcess.h"
#include "Support/Paths.h"
#include "Support/TempFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>

#include <windows.h>
#undef GetClassName

using namespace QBase;
using testing::EndsWith;

namespace
{

// What a debugger gets to see of OutputDebugStringW.
std::wstring g_DebuggerText;

// Some systems tell debuggers of UTF-16, others of the machine's own character set.
LONG CALLBACK SeeDebuggerText(EXCEPTION_POINTERS* pPointers)
{
    constexpr DWORD wideTextCode = 0x4001000A; // DBG_PRINTEXCEPTION_WIDE_C
    constexpr DWORD textCode = 0x40010006;     // DBG_PRINTEXCEPTION_C
    const EXCEPTION_RECORD& record = *pPointers->ExceptionRecord;
    const auto pText = reinterpret_cast<const void*>(record.ExceptionInformation[1]);
    if (record.ExceptionCode == wideTextCode) {
        g_DebuggerText += static_cast<const wchar_t*>(pText);
    } else if (record.ExceptionCode == textCode) {
        wchar_t wide[1000] = L"";
        MultiByteToWideChar(CP_ACP, 0, static_cast<const char*>(pText), -1, wide, 1000);
        g_DebuggerText += wide;
    } else {
        return EXCEPTION_CONTINUE_SEARCH;
    }
    return EXCEPTION_CONTINUE_EXECUTION;
}

// Answers the next message box with that caption as a user would, and keeps what it says.
class BoxUser
{
public:
    BoxUser(const wchar_t* pCaption, int button)
        : mpCaption(pCaption), mButton(button), mThread(&BoxUser::Answer, this)
    {}

    /// Waits until the box was answered.
    std::wstring Join()
    {
        mThread.join();
        return mText;
    }

private:
    void Answer()
    {
        constexpr int textId = 0xFFFF; // the static text of every message box
        HWND box = nullptr;
        while ((box = FindWindowW(L"#32770", mpCaption)) == nullptr || GetDlgItem(box, mButton) == nullptr) {
            Sleep(10);
        }
        wchar_t text[1000] = L"";
        GetDlgItemTextW(box, textId, text, 1000);
        mText = text;
        PostMessageW(box, WM_COMMAND, MAKEWPARAM(mButton, BN_CLICKED), 0);
    }

    const wchar_t* mpCaption;
    int mButton;
    std::wstring mText; // read after the join
    std::thread mThread;
};

} // namespace

TEST(WindowsTest, DebuggersSeeTheLettersOfMessages)
{
    g_DebuggerText.clear();
    {
        CapturedConsole console;
        SetDebuggerOutputHook(nullptr);
        void* const pHandler = AddVectoredExceptionHandler(1, SeeDebuggerText);
        Info("\xC3\xA4 \xC3\xBC");
        RemoveVectoredExceptionHandler(pHandler);
    }
    EXPECT_EQ(g_DebuggerText, L"\u00E4 \u00FC\n");
}

TEST(WindowsTest, ErrorHandlerAsksInABoxAndGoesOnAfterYes)
{
    BoxUser user(L"Error", IDYES);
    const Ptr<ErrorHandler> pHandler = ErrorHandler::Construct(Value::Null);
    pHandler->Execute(Value(String("Failed to grow \xC3\xA4pples")));
    EXPECT_EQ(user.Join(), L"Failed to grow \u00E4pples\n\nDo you want to continue execution?");
    EXPECT_EQ(pHandler->GetNumErrors(), 1);
}

TEST(WindowsTest, ErrorHandlersBoxCarriesTheTitleOfItsWindow)
{
    const HWND window = CreateWindowExW(0, L"STATIC", L"\u00C4pfel", WS_OVERLAPPEDWINDOW, 0, 0, 100, 100,
                                        nullptr, nullptr, nullptr, nullptr);
    ASSERT_NE(window, nullptr);
    BoxUser user(L"\u00C4pfel Error", IDYES);
    const Ptr<ErrorHandler> pHandler = ErrorHandler::Construct(Value::Null);
    pHandler->SetHwnd(window);
    pHandler->Execute(Value(String("x")));
    EXPECT_EQ(user.Join(), L"x\n\nDo you want to continue execution?");
    DestroyWindow(window);
}

TEST(WindowsDeathTest, NoInTheBoxEndsTheProgramWithOne)
{
    EXPECT_EXIT(
        {
            BoxUser user(L"Error", IDNO);
            ErrorHandler::Construct(Value::Null)->Execute(Value(String("x")));
        },
        testing::ExitedWithCode(1), "");
}

TEST(WindowsTest, AMissingModuleIsReportedInTheSystemsOwnWords)
{
    wchar_t words[1000] = L"";
    FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, ERROR_MOD_NOT_FOUND,
                   MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT), words, 1000, nullptr);
    std::string expected = String(words).c_str();
    ASSERT_THAT(expected, EndsWith("\r\n"));
    expected.resize(expected.size() - 2);

    CapturedMessages messages;
    EXPECT_EQ(LoadModule("Missing"), nullptr);
    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to load module 'Missing': " + expected));
}

TEST(WindowsTest, FileNamesReachTheSystemAsUtf16)
{
    TempFolder folder;
    const String path = folder.Path("\xC3\xA4\xE6\x98\x9F\xF0\x9F\x98\x80.bin");
    const Ptr<SystemFile> pFile = SystemFile::Construct(Value::Null);
    ASSERT_TRUE(pFile->Open(path, File::MODE_WRITE));
    EXPECT_EQ(pFile->Write("\n\r\n\x1A", 4), 4);
    pFile->Close();

    WIN32_FILE_ATTRIBUTE_DATA data{};
    ASSERT_TRUE(GetFileAttributesExW(path.buffer_utf16().c_str(), GetFileExInfoStandard, &data));
    EXPECT_EQ(data.nFileSizeLow, 4u);
    EXPECT_TRUE(SystemFile::Exists(path));
    EXPECT_TRUE(SystemFile::Delete(path));
    EXPECT_FALSE(SystemFile::Exists(path));
}

TEST(WindowsTest, CriticalSectionsGiveTheirResourcesBack)
{
    DWORD before = 0, after = 0;
    const auto useSections = [] {
        for (int i = 0; i < 10000; ++i) {
            CriticalSection section;
            section.Enter();
            section.Exit();
        }
    };
    useSections();
    GetProcessHandleCount(GetCurrentProcess(), &before);
    useSections();
    GetProcessHandleCount(GetCurrentProcess(), &after);
    EXPECT_EQ(after, before);
}

TEST(WindowsTest, TheLibraryIsAFileOf32Bits)
{
    std::ifstream file(BinaryPath("QBase_Release.dll"), std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    ASSERT_GT(bytes.size(), sizeof(IMAGE_DOS_HEADER));
    IMAGE_DOS_HEADER dosHeader;
    std::memcpy(&dosHeader, bytes.data(), sizeof(dosHeader));
    ASSERT_GT(bytes.size(), static_cast<std::size_t>(dosHeader.e_lfanew) + sizeof(IMAGE_NT_HEADERS32));
    IMAGE_NT_HEADERS32 headers;
    std::memcpy(&headers, bytes.data() + dosHeader.e_lfanew, sizeof(headers));
    EXPECT_EQ(headers.Signature, 0x00004550u); // "PE"
    EXPECT_EQ(headers.FileHeader.Machine, 0x014Cu);
    EXPECT_EQ(headers.OptionalHeader.Magic, 0x010Bu);
    EXPECT_NE(headers.FileHeader.Characteristics & IMAGE_FILE_DLL, 0);
}

TEST(WindowsTest, TheLibraryExportsFunctionsDataAndClassesByName)
{
    const HMODULE library = GetModuleHandleW(L"QBase_Release.dll");
    ASSERT_NE(library, nullptr);
    for (const char* pName : {
             "_ZN5QBase14g_VersionMajorE", // a variable
             "_ZN5QBase6String4NullE",     // a static member
             "_ZN5QBase4File9MODE_READE",  // constants, whose address a host may take
             "_ZN5QBase20ObjectDiffSerializer13FirstObjectIdE", "_ZN5QBase5Value12PAYLOAD_SIZEE",
             "_ZN5QBase9ConstructERKNS_6StringES2_RKNS_5ValueE", "_ZN5QBase5Table5ClearEv",
             "_ZTVN5QBase5TableE",                                   // a table of virtual functions
             "_ZTIN5QBase5TableE",                                   // and what a cast at run time needs
             "_ZN5QBase10LinkedListINS_3PtrINS_6ObjectEEEE5ClearEv", // an instance of a template
         }) {
        EXPECT_NE(GetProcAddress(library, pName), nullptr) << pName;
    }
    EXPECT_EQ(GetProcAddress(library, "_ZN5QBase8Platform12AllocAlignedEj"), nullptr);
}

TEST(WindowsTest, AHostThatLoadsTheLibraryAtRunTimeCanUseIt)
{
    EXPECT_EQ(RunProgram(BinaryPath("RuntimeHost")).mOutput, "Quirl v.2.1\nmodule table\n");
}
