// Annotation walks over the bytes of a binary file or of a captured replication stream, and tells what each
// of them means.
//
//     const Ending ending = Annotate(bytes, ByteForm::FILE, options, [&](const Note& note) {
//         output.WriteLine(note.mMeaning);
//     });
//     ending.mTrouble; // empty when every byte was understood
//
// The notes follow each other without a gap. Nothing is constructed and nothing is trusted: counts are held
// against the bytes left, indices against their tables, as the readers of the library do. Where a reader
// would give up, the walk ends and says why. Values are read by the library's own code for them.

#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

namespace Quirl
{

enum class ByteForm
{
    FILE,       // a binary file of graphs
    FRAMES,     // what `quirl watch --capture` writes: frames of packets
    CONNECTION, // one side of a connection: its hello, its answer, its frames
    UNKNOWN
};

struct Note
{
    std::size_t mOffset;
    std::size_t mSize;
    int mDepth; // how far inside of other things it stands
    std::string mMeaning;
};

struct Ending
{
    std::size_t mOffset;  // of the first byte without a meaning, or the number of all bytes
    std::string mTrouble; // why it has none
};

/// What the bytes look like.
ByteForm RecogniseBytes(std::string_view bytes);

/// `loadsModules` allows to ask modules that the bytes name which of their classes are tables and lists.
Ending Annotate(std::string_view bytes, ByteForm form, bool loadsModules,
                const std::function<void(const Note&)>& take);

} // namespace Quirl
