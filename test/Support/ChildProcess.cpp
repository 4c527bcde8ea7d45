#include "Support/ChildProcess.h"

#include "Support/Paths.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>

Outcome RunProgram(const std::string& command)
{
    Outcome outcome{{}, -1, {}};
    std::FILE* const pPipe = popen((command + " 2>&1").c_str(), "r");
    if (pPipe == nullptr) {
        ADD_FAILURE() << "cannot run " << command;
        return outcome;
    }
    char buffer[4096];
    while (const std::size_t size = std::fread(buffer, 1, sizeof(buffer), pPipe)) {
        outcome.mOutput.append(buffer, size);
    }
    outcome.mExitCode = pclose(pPipe);
    return outcome;
}

bool IsBuilt(const char* pProgram)
{
    const std::string path = BinaryPath(pProgram);
    return std::filesystem::exists(path) || std::filesystem::exists(path + ".exe");
}
