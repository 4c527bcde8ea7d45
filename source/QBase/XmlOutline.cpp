#include "QBase/XmlOutline.h"

#include <algorithm>
#include <cstring>

namespace QBase
{

namespace
{

constexpr std::size_t MAX_ATTRIBUTES = 1000; // ours have five at most
constexpr std::size_t PART_SIZE = 8 * 1024;  // in bytes, at least: its tree stays in the nearest caches
constexpr int MAX_DEPTH = 16;                // ours have four; the parser's own limit is left to the parser

// Where the tag that starts at `start` ends; npos when it does not. Counts quoted values, of which each
// attribute has one.
std::size_t FindTagEnd(std::string_view text, std::size_t start, std::size_t& rNumAttributes)
{
    const char* const pEnd = text.data() + text.size();
    for (const char* p = text.data() + start; p != pEnd; ++p) {
        const char c = *p;
        if (c > '>') {
            continue; // most are letters
        }
        if (c == '>') {
            return static_cast<std::size_t>(p - text.data());
        }
        if (c == '"' || c == '\'') {
            ++rNumAttributes;
            p = static_cast<const char*>(std::memchr(p + 1, c, static_cast<std::size_t>(pEnd - p - 1)));
            if (p == nullptr) {
                return text.npos;
            }
        }
    }
    return text.npos;
}

// The first place behind `end`, from `start` on; npos when it is not there.
std::size_t FindBehind(std::string_view text, std::string_view end, std::size_t start)
{
    const std::size_t found = text.find(end, start);
    return found != text.npos ? found + end.size() : found;
}

bool IsBlank(char c)
{
    return c == ' ' || (c >= '\t' && c <= '\r');
}

// In blocks whose counts fit a byte, so that many characters are compared at once.
int CountLines(std::string_view text)
{
    constexpr std::size_t BLOCK_SIZE = 128;
    int count = 0;
    while (!text.empty()) {
        const std::string_view block = text.substr(0, BLOCK_SIZE);
        unsigned char blockCount = 0;
        for (const char c : block) {
            blockCount = static_cast<unsigned char>(blockCount + (c == '\n' ? 1 : 0));
        }
        count += blockCount;
        text.remove_prefix(block.size());
    }
    return count;
}

} // namespace

XmlOutline::XmlOutline(std::string_view text) : mText(text)
{
    std::size_t next = 0; // behind the last tag
    for (std::size_t start = text.find('<'); start != text.npos; start = text.find('<', next)) {
        NoteText(next, start);
        next = PassTag(start);
        if (next == text.npos || mbCrowded) {
            mParts.clear(); // what has no end is left to the parser
            return;
        }
    }
    NoteText(next, text.size());
    if (!mbCuttable || mPlace != BEHIND_ROOT) {
        mParts.clear();
    }
}

std::string XmlOutline::GetFrame() const
{
    const char* const pFirst = mParts.front().mText.data();
    const char* const pLast = mParts.back().mText.data() + mParts.back().mText.size();
    std::string frame(mText.data(), pFirst);
    frame.append(pLast, mText.data() + mText.size());
    return frame;
}

// Looks at what starts at `start`. Where it ends; npos when it does not.
std::size_t XmlOutline::PassTag(std::size_t start)
{
    const std::string_view tag = mText.substr(start);
    if (tag.starts_with("<!")) {
        mbCuttable = false;
        return tag.starts_with("<!--")        ? FindBehind(mText, "-->", start + 4)
               : tag.starts_with("<![CDATA[") ? FindBehind(mText, "]]>", start + 9)
                                              : FindBehind(mText, ">", start + 2);
    }
    if (tag.starts_with("<?")) {
        mbCuttable = mbCuttable && start == 0; // a declaration
        return FindBehind(mText, "?>", start + 2);
    }
    std::size_t numAttributes = 0;
    const std::size_t end = FindTagEnd(mText, start, numAttributes);
    mbCrowded = numAttributes > MAX_ATTRIBUTES;
    if (end == mText.npos) {
        return end;
    }
    if (mbCuttable) {
        NoteTag(start, end);
    }
    return end + 1;
}

// Texts belong to elements below the root; elsewhere there are blanks alone.
void XmlOutline::NoteText(std::size_t start, std::size_t end)
{
    if (mbCuttable && mDepth < 2) {
        const std::string_view text = mText.substr(start, end - start);
        mbCuttable = std::all_of(text.begin(), text.end(), &IsBlank);
    }
}

// What the parser may see otherwise than it looks here is not cut.
void XmlOutline::NoteTag(std::size_t start, std::size_t end)
{
    const bool bEmpty = mText[end - 1] == '/';
    if (mText[start + 1] != '/') {
        mbCuttable = !IsBlank(mText[start + 1]) && mPlace != BEHIND_ROOT && !(bEmpty && mDepth == 0);
        NoteStart(start, end, bEmpty);
    } else {
        mbCuttable = !bEmpty && mDepth > 0;
        NoteEnd(end);
    }
}

void XmlOutline::NoteStart(std::size_t start, std::size_t end, bool bEmpty)
{
    if (mDepth == 1) {
        BeginElement(start);
    }
    mNumElements += mDepth > 0 ? 1 : 0;
    mPlace = IN_ROOT;
    if (!bEmpty) {
        ++mDepth;
        mbCuttable = mbCuttable && mDepth <= MAX_DEPTH;
    } else if (mDepth == 1) {
        EndElement(end);
    }
}

void XmlOutline::NoteEnd(std::size_t end)
{
    --mDepth;
    if (mDepth == 1) {
        EndElement(end);
    } else if (mDepth == 0) {
        mPlace = BEHIND_ROOT;
    }
}

void XmlOutline::BeginElement(std::size_t start)
{
    if (!mParts.empty() && mParts.back().mText.size() < PART_SIZE) {
        return;
    }
    mLine += CountLines(mText.substr(mPartStart, start - mPartStart));
    mPartStart = start;
    mParts.push_back({mText.substr(start, 0), 0, mLine});
}

void XmlOutline::EndElement(std::size_t end)
{
    Part& rPart = mParts.back();
    rPart.mText = mText.substr(mPartStart, end + 1 - mPartStart);
    ++rPart.mNumElements;
}

} // namespace QBase
