// CommandLine.h: how a command says which words it takes.
//
//     const Command command = program.AddCommand("show", "Show the objects of a file as a tree");
//     command.AddOption("FILE", pOptions->mPath, "The file; - for standard input").Require();
//     command.AddFlag("--json", pOptions->mbJson, "Print JSON, for programs");
//     command.SetFooter(FOOTER);
//     command.SetAction([pOptions, &rExitCode] { rExitCode = RunShow(*pOptions); });
//
// The library that takes command lines apart is all in its headers, which take most of a unit's time to
// compile. So only those units include them that speak of the command line as a whole.

#pragma once

#include <functional>
#include <initializer_list>
#include <string>
#include <vector>

namespace CLI
{
class App;
class Option;
} // namespace CLI

namespace Quirl
{

// An option, or an argument, of a command. Borrowed from it.
class Option
{
public:
    explicit Option(CLI::Option* pOption) : mpOption(pOption) {}

    /// The command does not run without it.
    Option Require() const;

    /// What the help says in the place of its value.
    Option SetTypeName(const char* pName) const;

    /// Other values are mistakes.
    Option AllowOnly(std::initializer_list<const char*> values) const;
    Option AllowRange(int least, int most) const;

private:
    CLI::Option* mpOption;
};

// A command, or the program that has commands. What it fills must live until the command line is read.
class Command
{
public:
    struct Word
    {
        std::string mOption; // as it was added, "--class"
        std::string mText;
    };

    explicit Command(CLI::App& rApp) : mpApp(&rApp) {}

    Command AddCommand(const char* pName, const char* pDescription) const;

    /// A name that begins with "-" is that of an option with a value; any other stands for an argument.
    Option AddOption(const char* pName, std::string& rText, const std::string& description) const;
    Option AddOption(const char* pName, int& rNumber, const std::string& description) const;

    /// All arguments that are left.
    Option AddArguments(const char* pName, std::vector<std::string>& rTexts,
                        const std::string& description) const;

    /// An option that may be given again and again, each time with one value.
    Option AddRepeatable(const char* pName, std::vector<std::string>& rTexts,
                         const std::string& description) const;

    /// The same, for those whose order among each other matters: GetWords tells it.
    Option AddOrdered(const char* pName, const std::string& description) const;

    void AddFlag(const char* pName, bool& rbGiven, const std::string& description) const;

    /// What stands below the help.
    void SetFooter(const char* pText) const;

    /// Runs when the command was asked for and all its words are read.
    void SetAction(std::function<void()> action) const;

    /// The values of all options and arguments in the order in which they were given.
    std::vector<Word> GetWords() const;

private:
    CLI::App* mpApp;
};

} // namespace Quirl
