// An enumeration that two modules have properties of, and one gives names to.

#pragma once

enum class Cargo : int
{
    NONE = 0,
    FISH = 2
};
