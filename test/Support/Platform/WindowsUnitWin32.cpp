#include <windows.h>

#include "Support/WindowsUnitBody.h"
