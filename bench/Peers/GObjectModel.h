// The vehicles of Model.h as GObject knows them: "BenchTaxi", derived over two levels.

#pragma once

#include <glib-object.h>

namespace Bench
{

/// Registers the classes on first use. Properties are lower case there; "drive" is an action signal, which is
/// how GObject calls by name.
GType GetGTaxiType();

} // namespace Bench
