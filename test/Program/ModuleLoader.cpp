// Loads the modules that the arguments name.

#include "QBase/Global.h"

#include <cstdio>

int main(int argumentCount, char** ppArguments)
{
    for (int i = 1; i < argumentCount; ++i) {
        if (QBase::LoadModule(ppArguments[i]) != nullptr) {
            std::printf("%s is loaded\n", ppArguments[i]);
        }
    }
    return 0;
}
