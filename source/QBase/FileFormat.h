// What both file formats have in common.

#pragma once

namespace QBase
{

namespace FileFormat
{

inline constexpr int ID = 0x6A624F51; // the bytes "QObj"
inline constexpr int VERSION = 3;
inline constexpr int BINARY_HEADER_SIZE = 8; // id, version

} // namespace FileFormat

} // namespace QBase
