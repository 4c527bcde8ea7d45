// Utf8Library.h brings in the UTF-8 library. Its exception classes keep default visibility, so that a host
// can catch by type what String and UTF8 let through.

#pragma once

#include "QBase/Export.h"

QBASE_VISIBLE_BEGIN
#include <utf8.h>
QBASE_VISIBLE_END
