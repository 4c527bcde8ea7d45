#include "Modules.h"

#include "Report.h"
#include "Text.h"

#include "QBase/Global.h"
#include "QBase/Table.h"

#include <algorithm>

using namespace QBase;

namespace Quirl
{

bool IsModuleName(const std::string& name)
{
    return !name.empty() && std::all_of(name.begin(), name.end(), [](char character) {
        return (character >= 'A' && character <= 'Z') || (character >= 'a' && character <= 'z') ||
               (character >= '0' && character <= '9') || character == '_' || character == '-';
    });
}

Table* RequireModule(const std::string& name)
{
    if (!IsModuleName(name)) {
        throw Trouble(
            "Failed to load module " + Quote(name) +
            " - a module's name has letters, digits, '_' and '-' only; give the name without a folder "
            "and without \"_Release\"");
    }
    Messages messages;
    Table* const pModule = LoadModule(name.c_str());
    if (pModule != nullptr) {
        messages.Print();
        return pModule;
    }
    for (const Message& message : messages.Take()) {
        throw Trouble(message.mText + "; put the module's library (" + name +
                      "_Release) beside the program quirl, or where the system looks for libraries");
    }
    throw Trouble("Failed to load module '" + name + "' - its library has no classes under that name; " +
                  "check the name that its classes give to QBASE_IMPLEMENT");
}

bool TryModule(const std::string& name)
{
    if (!IsModuleName(name)) {
        return false;
    }
    const Messages unheard;
    return LoadModule(name.c_str()) != nullptr;
}

} // namespace Quirl
