#include "QBase/TablePath.h"

#include "QBase/Function.h"
#include "QBase/Property.h"

#include "Support/CapturedMessages.h"
#include "Support/Sanitizer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace QBase;
using testing::ElementsAre;

namespace
{

std::vector<std::string> NamesOf(const TablePath* pPath)
{
    std::vector<std::string> names;
    for (const String& name : pPath->GetNodes()) {
        names.push_back(name.c_str());
    }
    return names;
}

std::vector<std::string> Cut(const char* pText)
{
    const Ptr<TablePath> pPath = TablePath::Construct(Value::Null);
    pPath->FromString(pText);
    return NamesOf(pPath);
}

} // namespace

TEST(TablePathTest, ATextIsCutAtItsDots)
{
    const Ptr<TablePath> pPath = TablePath::Construct(Value::Null);
    pPath->FromString("a.b.c");
    EXPECT_THAT(NamesOf(pPath), ElementsAre("a", "b", "c"));
    EXPECT_EQ(pPath->GetName(), String("c"));
    EXPECT_EQ(pPath->ToString(), String("a.b.c"));
}

TEST(TablePathTest, TheFirstByteIsNeverASeparatorAndEmptyNamesStay)
{
    EXPECT_THAT(Cut(""), ElementsAre(""));
    EXPECT_THAT(Cut("a"), ElementsAre("a"));
    EXPECT_THAT(Cut("."), ElementsAre("."));
    EXPECT_THAT(Cut(".a"), ElementsAre(".a"));
    EXPECT_THAT(Cut("..a"), ElementsAre(".", "a"));
    EXPECT_THAT(Cut("a."), ElementsAre("a", ""));
    EXPECT_THAT(Cut("a..b"), ElementsAre("a", "", "b"));
    EXPECT_THAT(Cut("\xC3\xA4.\xC3\xB6"), ElementsAre("\xC3\xA4", "\xC3\xB6"));
}

TEST(TablePathTest, AnEmptyNameIsNotTheNullString)
{
    const Ptr<TablePath> pPath = TablePath::Construct(Value::Null);
    pPath->FromString("a.");
    EXPECT_TRUE(pPath->GetName().empty());
    EXPECT_FALSE(pPath->GetName() == String::Null);
}

TEST(TablePathTest, FromStringReplacesTheNames)
{
    const Ptr<TablePath> pPath = TablePath::Construct("a.b");
    pPath->FromString("c");
    EXPECT_THAT(NamesOf(pPath), ElementsAre("c"));
    EXPECT_EQ(pPath->GetNodes().GetSize(), 1);
}

TEST(TablePathTest, ANameOfThePathItselfMayBeTheText)
{
    const Ptr<TablePath> pPath = TablePath::Construct(Value::Null);
    pPath->AddNode("x.y");
    pPath->FromString(pPath->GetName());
    EXPECT_THAT(NamesOf(pPath), ElementsAre("x", "y"));
}

TEST(TablePathTest, ANewPathIsEmpty)
{
    const Ptr<TablePath> pPath = TablePath::Construct(Value::Null);
    EXPECT_EQ(&pPath->GetName(), &String::Null);
    EXPECT_EQ(pPath->GetNodes().GetSize(), 0);
    EXPECT_TRUE(pPath->ToString().empty());
}

TEST(TablePathTest, AddNodeAppendsAtTheLeafEnd)
{
    const Ptr<TablePath> pPath = TablePath::Construct(Value::Null);
    pPath->AddNode("a");
    pPath->AddNode("b");
    EXPECT_EQ(pPath->GetName(), String("b"));
    EXPECT_EQ(pPath->ToString(), String("a.b"));
}

TEST(TablePathTest, CopyHasTheSameNamesOfItsOwnAndNobodyHoldsItYet)
{
    const Ptr<TablePath> pPath = TablePath::Construct(Value::Null);
    pPath->AddNode("a.b"); // does not survive a text
    pPath->AddNode("");
    pPath->AddPropertyValueFromValue("x", 4);
    const Ptr<TablePath> pSecond = pPath;

    const Ptr<TablePath> pCopy = pPath->Copy();

    EXPECT_EQ(pCopy->GetReferenceCount(), 1);
    EXPECT_THAT(NamesOf(pCopy), ElementsAre("a.b", ""));
    EXPECT_EQ(pCopy->GetNodes().GetSize(), 2);
    EXPECT_EQ(pCopy->FindProperty("x")->Get(pCopy).Get<int>(), 4);
    pPath->AddNode("c");
    EXPECT_EQ(pCopy->GetNodes().GetSize(), 2);
    const Ptr<TablePath> pEmpty = TablePath::Construct(Value::Null);
    EXPECT_TRUE(NamesOf(Ptr<TablePath>(pEmpty->Copy())).empty());
}

TEST(TablePathTest, ACloneHasNodesOfItsOwn)
{
    Ptr<TablePath> pPath = TablePath::Construct("a.b");
    const Ptr<TablePath> pClone = pPath->Clone();
    pClone->Release(); // the clone started at the source's count
    pPath->AddNode("c");
    EXPECT_THAT(NamesOf(pClone), ElementsAre("a", "b"));
    pPath = nullptr;
    pClone->AddNode("d");
    EXPECT_THAT(NamesOf(pClone), ElementsAre("a", "b", "d"));
}

TEST(TablePathTest, ItsFunctionsAreReflected)
{
    const Ptr<TablePath> pPath = TablePath::Construct(Value::Null);
    pPath->Call("FromString", "a.b");
    pPath->Call("AddNode", "c");
    EXPECT_EQ(pPath->Call("GetName").AsString(), String("c"));
    EXPECT_EQ(pPath->Call("ToString").AsString(), String("a.b.c"));
}

TEST(TablePathTest, TenMillionDotsAreCutInOneWalk)
{
    // Where a checker surrounds each node with memory of its own, a fifth of them shows as much.
    constexpr std::size_t DOTS = (HAS_SANITIZER ? 2 : 10) * 1024 * 1024;
    const std::string text(DOTS, '.');
    const Ptr<TablePath> pPath = TablePath::Construct(Value::Null);
    pPath->FromString(text.c_str());
    EXPECT_EQ(pPath->GetNodes().GetSize(), static_cast<int>(DOTS));
    EXPECT_EQ(pPath->ToString(), String(text.c_str()));
}
