#include "Output.h"

#include "Report.h"
#include "System.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace Quirl
{

Output::Output()
{
    SetBinaryMode(stdout);
}

void Output::Write(std::string_view text)
{
    std::fwrite(text.data(), 1, text.size(), stdout); // a failure sticks to the stream until Finish
}

void Output::WriteLine(std::string_view text)
{
    Write(text);
    Write("\n");
}

void Output::Finish()
{
    errno = 0;
    if (std::fflush(stdout) != 0 || std::ferror(stdout)) {
        throw Trouble(std::string("Failed to write to standard output - ") +
                      (errno != 0 ? std::strerror(errno) : "an earlier write failed") +
                      "; make room there or write to another place");
    }
}

} // namespace Quirl
