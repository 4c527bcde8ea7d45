// What the tests of the tool quirl share: every test runs the built program and looks at what it prints, at
// its exit code and at the files it leaves in a folder of the test's own.

#pragma once

#include "Support/ChildProcess.h"
#include "Support/TempFolder.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <vector>

namespace QBase
{
class Object;
} // namespace QBase

// A shared object, a cycle, null, a table, a list, an array, a dynamic property and letters of many kinds.
extern const char SMALL[];

// What stands behind the objects of a document.
extern const char TAIL[];

/// A whole XML document.
std::string Document(const std::string& objects);

/// The text with the first `what` replaced.
std::string Replaced(std::string text, const std::string& what, const std::string& by);

class ToolTest : public testing::Test
{
protected:
    ToolTest();

    /// How to run the tool in the test's folder with these words behind its name.
    ProgramStart Start(const std::vector<std::string>& words) const;

    /// Runs the tool. Standard input has nothing more than `input`.
    Outcome Quirl(const std::vector<std::string>& words, const std::string& input = std::string()) const;

    std::string PathOf(const char* pName) const { return mFolder.Path(pName).c_str(); }

    void WriteSmall() const { mFolder.Write("small.QXml", Document(SMALL)); }

    void Save(QBase::Object* pRoot, const char* pName) const;

    /// A list of `size` objects with a number each.
    void SaveWide(int size, const char* pName) const;

    /// Objects each of which refers to the next one.
    void SaveDeep(int length, const char* pName) const;

    std::size_t CountFiles() const;

    TempFolder mFolder;
    const std::string mSolar; // the path of a document that needs the module Solar
};
