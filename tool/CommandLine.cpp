#include "CommandLine.h"

#include <CLI/CLI.hpp>

#include <cstddef>
#include <map>
#include <utility>

namespace Quirl
{

Option Option::Require() const
{
    mpOption->required();
    return *this;
}

Option Option::SetTypeName(const char* pName) const
{
    mpOption->type_name(pName);
    return *this;
}

Option Option::AllowOnly(std::initializer_list<const char*> values) const
{
    mpOption->check(CLI::IsMember(std::vector<std::string>(values.begin(), values.end())));
    return *this;
}

Option Option::AllowRange(int least, int most) const
{
    mpOption->check(CLI::Range(least, most));
    return *this;
}

Command Command::AddCommand(const char* pName, const char* pDescription) const
{
    return Command(*mpApp->add_subcommand(pName, pDescription));
}

Option Command::AddOption(const char* pName, std::string& rText, const std::string& description) const
{
    return Option(mpApp->add_option(pName, rText, description));
}

Option Command::AddOption(const char* pName, int& rNumber, const std::string& description) const
{
    return Option(mpApp->add_option(pName, rNumber, description));
}

Option Command::AddArguments(const char* pName, std::vector<std::string>& rTexts,
                             const std::string& description) const
{
    return Option(mpApp->add_option(pName, rTexts, description));
}

Option Command::AddRepeatable(const char* pName, std::vector<std::string>& rTexts,
                              const std::string& description) const
{
    return Option(mpApp->add_option(pName, rTexts, description)->allow_extra_args(false));
}

Option Command::AddOrdered(const char* pName, const std::string& description) const
{
    return Option(mpApp->add_option(pName, description)
                      ->expected(1)
                      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll));
}

void Command::AddFlag(const char* pName, bool& rbGiven, const std::string& description) const
{
    mpApp->add_flag(pName, rbGiven, description);
}

void Command::SetFooter(const char* pText) const
{
    mpApp->footer(pText);
}

void Command::SetAction(std::function<void()> action) const
{
    mpApp->callback(std::move(action));
}

std::vector<Command::Word> Command::GetWords() const
{
    std::vector<Word> words;
    std::map<const CLI::Option*, std::size_t> numTaken;
    for (const CLI::Option* const pOption : mpApp->parse_order()) {
        words.push_back({pOption->get_name(), pOption->results().at(numTaken[pOption]++)});
    }
    return words;
}

} // namespace Quirl
