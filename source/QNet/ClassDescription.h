// ClassDescription is what peers compare of a class: its names and those of its properties and functions,
// each with its shape, inherited ones included.
//
//     std::vector<ClassDescription> here = Describe(pSerializer->GetRegisteredTypes());
//     std::string bytes = Encode(here);
//     FindDifference(here, there); // "" or "property 'Mass' of Solar.Body is float here and int there"
//
// Threads: nothing here locks.

#pragma once

#include "QBase/Array.h"
#include "QBase/ClassInfoTable.h"

#include <string>
#include <vector>

namespace QNet
{

struct PropertyDescription
{
    static constexpr unsigned char ARRAY = 1;
    static constexpr unsigned char EXCLUDED = 2; // from files

    std::string mName;
    unsigned char mType = 0;
    unsigned char mFlags = 0;
};

struct FunctionDescription
{
    std::string mName;
    unsigned char mKind = 0; // as Function::Type
    unsigned char mResult = 0;
    std::string mArguments; // a type each
};

struct ClassDescription
{
    std::string mModule;
    std::string mName;
    std::vector<PropertyDescription> mProperties; // by name
    std::vector<FunctionDescription> mFunctions;  // by name
};

std::vector<ClassDescription> Describe(const QBase::Array<QBase::Ptr<QBase::ClassInfoTable>>& classes);

std::string Encode(const std::vector<ClassDescription>& classes);

/// False for bytes that are no description.
bool Decode(const std::string& bytes, std::vector<ClassDescription>& rClasses);

/// Names the first class, property or function that differs; empty when none does.
std::string FindDifference(const std::vector<ClassDescription>& here,
                           const std::vector<ClassDescription>& there);

/// A 32-bit number, the lowest byte first.
void AppendInt(std::string& rBytes, unsigned number);
unsigned LoadInt(const char* pBytes);

} // namespace QNet
