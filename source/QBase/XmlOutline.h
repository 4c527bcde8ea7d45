// XmlOutline is what one look over the text of a document tells, before any of it is parsed: whether it is
// safe to parse, and where it can be cut. Most of a document are elements below its root, one behind the
// other; parsed a few at a time, in memory that stays near, they take the parser half its time and hardly any
// room.
//
//     XmlOutline outline(text);
//     if (outline.HasCrowdedElement()) ...   // not to be parsed
//     for (const XmlOutline::Part& part : outline.GetParts())
//         ...                                // of part.mNumElements elements below the root
//
// It cuts only documents as they are mostly written: a declaration, a root, elements with blanks between
// them. One with comments, sections, texts beside the elements or anything odd has no parts. What it cuts it
// has not checked: that is the parser's work. A document of which all parts are well-formed, and so is the
// frame around them, is well-formed.

#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace QBase
{

class XmlOutline
{
public:
    // Whole elements below the root, and the blanks between them.
    struct Part
    {
        std::string_view mText;
        int mNumElements;
        int mLine; // of the document, in which it begins; the first is 1
    };

    /// The text stays the caller's, and has to stay.
    explicit XmlOutline(std::string_view text);

    /// True when an element has more than 1000 attributes. The parser holds each against all before it, which
    /// would keep it busy for hours with an element of a million.
    bool HasCrowdedElement() const { return mbCrowded; }

    /// In the order of the document; empty for one that is to be parsed as a whole.
    const std::vector<Part>& GetParts() const { return mParts; }

    /// How many elements all parts have, those within others included.
    std::size_t GetNumElements() const { return mNumElements; }

    /// The document without its parts.
    std::string GetFrame() const;

private:
    enum Place
    {
        BEFORE_ROOT,
        IN_ROOT,
        BEHIND_ROOT
    };

    std::size_t PassTag(std::size_t start);
    void NoteText(std::size_t start, std::size_t end);
    void NoteTag(std::size_t start, std::size_t end);
    void NoteStart(std::size_t start, std::size_t end, bool bEmpty);
    void NoteEnd(std::size_t end);
    void BeginElement(std::size_t start);
    void EndElement(std::size_t end);

    std::string_view mText;
    bool mbCrowded = false;
    bool mbCuttable = true;
    Place mPlace = BEFORE_ROOT;
    int mDepth = 0; // of open elements
    std::size_t mNumElements = 0;
    int mLine = 1;              // of the last part
    std::size_t mPartStart = 0; // where it begins
    std::vector<Part> mParts;
};

} // namespace QBase
