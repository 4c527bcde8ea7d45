// What tests ask of an operating system, beside what the library does for it. A new port is one new
// Platform/System<System>.cpp. Texts are UTF-8.

#pragma once

#include <string>

/// What stands behind a library's name ("Solar_Release") in the name of its file.
extern const char* const LIBRARY_SUFFIX;

/// A device that takes every byte and keeps none.
extern const char* const NULL_DEVICE;

/// Makes a link that leads to a file. False where the system makes none, or not for everybody.
bool MakeLink(const std::string& target, const std::string& link);

/// Whether this exit status, as EXPECT_EXIT hands it over, is that of a program whose stack overflowed.
bool IsStackOverflow(int exitStatus);

/// While one lives, this process reaches nobody whom it could ask: no terminal, no desktop.
class Solitude
{
public:
    Solitude();
    ~Solitude();
    Solitude(const Solitude&) = delete;
    Solitude& operator=(const Solitude&) = delete;

private:
    void* mpOldSurroundings;
    void* mpSurroundings;
};

/// While one lives, a variable of the environment has another value for the programs that are started.
class ChangedVariable
{
public:
    ChangedVariable(const char* pName, const std::string& value);
    ~ChangedVariable();
    ChangedVariable(const ChangedVariable&) = delete;
    ChangedVariable& operator=(const ChangedVariable&) = delete;

private:
    const char* mpName;
    std::string mOldValue;
};
