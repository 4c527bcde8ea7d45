#include "ManualPage.h"

#include <CLI/CLI.hpp>

#include <sstream>
#include <string_view>
#include <vector>

namespace Quirl
{

namespace
{

constexpr char ENDING[] = R"(.SH ENVIRONMENT
.TP
.B QUIRL_MODULE_PATH
Folders to look for modules in, separated as in PATH, before those of the program and the system.
.TP
.B QBASE_REPORT_LEAKS
Set to 1, it makes the library tell at the end which objects are left.
.SH EXIT STATUS
.TP
.B 0
Fine.
.TP
.B 1
Something was found: a difference, a warning, damage, or a change that breaks something.
.TP
.B 2
Trouble: standard error says what failed, why, and what to do.
)";

// The text as it stands: a backslash, a minus sign and what begins a line as a request mean something to
// troff.
std::string Escape(std::string_view text)
{
    std::string escaped;
    bool bLineStarts = true;
    for (const char character : text) {
        if (bLineStarts && (character == '.' || character == '\'')) {
            escaped += "\\&";
        }
        bLineStarts = character == '\n';
        escaped += character == '\\'  ? std::string("\\e")
                   : character == '-' ? std::string("\\-")
                                      : std::string(1, character);
    }
    return escaped;
}

// Lines that keep their breaks and their blanks.
std::string Verbatim(const std::string& text)
{
    return text.empty() ? "" : ".PP\n.nf\n" + Escape(text) + "\n.fi\n";
}

bool IsShown(const CLI::Option* pOption)
{
    return !pOption->get_group().empty();
}

std::string DescribeOption(const CLI::Option* pOption)
{
    const std::string type = pOption->get_positional() ? "" : pOption->get_type_name();
    return ".TP\n\\fB" + Escape(pOption->get_name(pOption->get_positional(), true)) + "\\fR" +
           (type.empty() || pOption->get_items_expected_max() == 0 ? "" : " " + Escape(type)) + "\n" +
           Escape(pOption->get_description()) + "\n";
}

std::string DescribeOptions(const CLI::App& app)
{
    std::string positionals;
    std::string options;
    for (const CLI::Option* const pOption : app.get_options()) {
        if (IsShown(pOption)) {
            (pOption->get_positional() ? positionals : options) += DescribeOption(pOption);
        }
    }
    return positionals + options;
}

// "show [OPTIONS] FILE", as the help has it.
std::string MakeUsage(const CLI::App& command)
{
    std::string usage = command.get_name() + " [OPTIONS]";
    for (const CLI::Option* const pOption : command.get_options()) {
        if (pOption->get_positional()) {
            const std::string name =
                pOption->get_name(true) + (pOption->get_items_expected_max() > 1 ? "..." : "");
            usage += pOption->get_required() ? " " + name : " [" + name + "]";
        }
    }
    return usage;
}

} // namespace

std::string MakeManualPage(const CLI::App& app)
{
    const std::string name = app.get_name();
    std::string page =
        ".TH QUIRL 1 \"\" \"" + Escape(app.version()) + "\" \"User Commands\"\n.SH NAME\n" + Escape(name) +
        " \\- shows, converts, compares, checks and serves files of object graphs\n" + ".SH SYNOPSIS\n.B " +
        Escape(name) + "\n[OPTIONS] COMMAND ...\n.SH DESCRIPTION\n" + Escape(app.get_description()) + "\n" +
        Verbatim(app.get_footer()) + ".SH OPTIONS\n" + DescribeOptions(app) + ".SH COMMANDS\n";
    for (const CLI::App* const pCommand : app.get_subcommands([](const CLI::App*) { return true; })) {
        page += ".SS " + Escape(name + " " + MakeUsage(*pCommand)) + "\n" +
                Escape(pCommand->get_description()) + ".\n" + DescribeOptions(*pCommand) +
                Verbatim(pCommand->get_footer());
    }
    return page + ENDING;
}

} // namespace Quirl
