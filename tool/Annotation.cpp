#include "Annotation.h"

#include "ByteWalk.h"
#include "Modules.h"
#include "Report.h"
#include "Text.h"

#include "QBase/ClassInfoTable.h"
#include "QBase/FileFormat.h"
#include "QBase/Global.h"
#include "QBase/List.h"

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <unordered_map>
#include <vector>

using namespace QBase;

namespace Quirl
{

namespace
{

constexpr std::string_view FILE_MARK = "QObj";
constexpr std::string_view CONNECTION_MARK = "QNet";
constexpr std::size_t LONGEST_QUOTE = 60;

std::string Count(int count, const std::string& what)
{
    return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

// The bytes of the UTF-8 character that the text begins with; 0 for what is none.
std::size_t GetCharacterSize(std::string_view text)
{
    const unsigned char first = static_cast<unsigned char>(text[0]);
    const std::size_t size = first < 0x80   ? 1
                             : first < 0xC2 ? 0
                             : first < 0xE0 ? 2
                             : first < 0xF0 ? 3
                             : first < 0xF5 ? 4
                                            : 0;
    if (size > text.size()) {
        return 0;
    }
    for (std::size_t i = 1; i < size; ++i) {
        if ((static_cast<unsigned char>(text[i]) & 0xC0) != 0x80) {
            return 0;
        }
    }
    return size;
}

// The first characters on one line, those that are no UTF-8 byte by byte. A text may be as long as the file;
// the bytes beside it show it all.
std::string ShowShortly(std::string_view text, bool& rbCut)
{
    std::string shown;
    std::size_t done = 0;
    while (done < text.size() && done < LONGEST_QUOTE) {
        const std::size_t size = GetCharacterSize(text.substr(done));
        if (size == 0) {
            char escape[8];
            std::snprintf(escape, sizeof(escape), "\\x%02X", static_cast<unsigned char>(text[done]));
            shown += escape;
        } else {
            const std::string character = Quote(text.substr(done, size));
            shown.append(character, 1, character.size() - 2);
        }
        done += std::max<std::size_t>(size, 1);
    }
    rbCut = done < text.size();
    return shown;
}

std::string ShowShortly(std::string_view text)
{
    bool bCut = false;
    const std::string shown = ShowShortly(text, bCut);
    return bCut ? shown + "..." : shown;
}

std::string QuoteShortly(std::string_view text)
{
    bool bCut = false;
    const std::string quoted = "\"" + ShowShortly(text, bCut) + "\"";
    return bCut ? quoted + "... (" + std::to_string(text.size()) + " bytes)" : quoted;
}

// --- Binary files ---

class FileWalk : public ByteWalk
{
public:
    FileWalk(std::string_view bytes, bool loadsModules, const std::function<void(const Note&)>& take)
        : ByteWalk(bytes, take), mbLoadsModules(loadsModules)
    {}

protected:
    void Walk() override
    {
        do {
            TakeGraph();
        } while (GetRemaining() > 0);
    }

    std::string TakeText() override { return NameText(TakeTextIndex()); }

    std::string TakeObject() override
    {
        const int index = TakeInt();
        CheckIndex(index, mObjects.size(), "object");
        return NameObject(index);
    }

private:
    enum ChildForm
    {
        NO_CHILDREN,
        ENTRIES,
        ITEMS,
        UNKNOWN // the class is not loaded
    };

    // Bytes that the least of each takes.
    static constexpr std::size_t TEXT_SIZE = 4;
    static constexpr std::size_t OBJECT_SIZE = 16;
    static constexpr std::size_t PROPERTY_SIZE = 5;
    static constexpr std::size_t CHILD_SIZE = 8;

    struct ObjectRecord
    {
        int mModule;
        int mClass;
        int mPropertyCount;
        int mChildCount;
    };

    void TakeGraph()
    {
        mTexts.clear();
        mObjects.clear();
        if (TakeInt() != FileFormat::ID) {
            Stop("no graph begins here: its first bytes are not \"QObj\"");
        }
        Say("id \"QObj\"");
        const int version = TakeInt();
        if (version != FileFormat::VERSION) {
            Stop("version " + std::to_string(version) + " of the format is not known; " +
                 std::to_string(FileFormat::VERSION) + " is");
        }
        Say("version " + std::to_string(version));
        const int textCount = TakeCount(TEXT_SIZE, "count of strings");
        Say(Count(textCount, "string"));
        const int objectCount = TakeCount(OBJECT_SIZE, "count of objects");
        Say(Count(objectCount, "object"));
        for (int i = 0; i < textCount; ++i) {
            TakeTableText(i);
        }
        for (int i = 0; i < objectCount; ++i) {
            TakeRecord(i);
        }
        if (objectCount == 0) {
            Stop("a graph without objects");
        }
        for (int i = 0; i < objectCount; ++i) {
            TakeContents(i);
        }
    }

    void TakeTableText(int index)
    {
        const int size = TakeCount(1, "length of a string");
        const std::string_view text = TakeBytes(static_cast<std::size_t>(size));
        if (text.find('\0') != text.npos) {
            Stop("string " + std::to_string(index) + " holds a zero byte");
        }
        mTexts.push_back(text);
        Say("string " + std::to_string(index) + ": " + std::to_string(size) + " bytes, " +
            QuoteShortly(text));
    }

    void TakeRecord(int index)
    {
        ObjectRecord record{};
        record.mModule = TakeTextIndex();
        record.mClass = TakeTextIndex();
        record.mPropertyCount = TakeInt();
        record.mChildCount = TakeInt();
        mObjects.push_back(record);
        if (record.mPropertyCount < 0 || record.mChildCount < 0) {
            Stop("object " + std::to_string(index) + " has a negative count of properties or children");
        }
        Say(NameObject(index) + ": " + std::to_string(record.mPropertyCount) + " properties, " +
            std::to_string(record.mChildCount) + " children");
    }

    void TakeContents(int index)
    {
        const ObjectRecord record = mObjects[static_cast<std::size_t>(index)];
        const std::string owner = " of " + NameObject(index);
        CheckRoom(record.mPropertyCount, PROPERTY_SIZE, "properties" + owner);
        for (int i = 0; i < record.mPropertyCount; ++i) {
            TakeProperty(index);
        }
        CheckRoom(record.mChildCount, CHILD_SIZE, "children" + owner);
        const ChildForm form = record.mChildCount > 0 ? FindChildForm(record) : NO_CHILDREN;
        if (form == NO_CHILDREN && record.mChildCount > 0) {
            Stop(NameObject(index) + " is neither a table nor a list and cannot have children");
        }
        for (int i = 0; i < record.mChildCount; ++i) {
            TakeChild(form, owner);
        }
    }

    void TakeProperty(int owner)
    {
        const int name = TakeTextIndex();
        const std::string property = "property " + NameText(name) + " of object " + std::to_string(owner);
        Say(property);
        ++mDepth;
        const int flags = TakeByte();
        const Value::Type type = CheckType(flags / 4, false, false);
        const bool bArray = (flags & 1) != 0;
        Say(std::string(bArray ? "array of " : "") + GetTypeName(type) +
            ((flags & 2) != 0 ? ", dynamic" : ""));
        if (bArray) {
            const int count = TakeCount(ValueBytes::GetSize(type), "size of an array");
            Say(Count(count, "element"));
            ++mDepth;
            for (int i = 0; i < count; ++i) {
                Say("[" + std::to_string(i) + "] = " + TakeValue(type));
            }
            --mDepth;
        } else {
            Say("= " + TakeValue(type));
        }
        --mDepth;
    }

    void TakeChild(ChildForm form, const std::string& owner)
    {
        if (form == ENTRIES) {
            const std::string name = TakeText();
            Say("entry " + name + owner + ": " + TakeObject());
        } else if (form == ITEMS) {
            TakeInt(); // items take the order of their records
            Say("next item" + owner + ": " + TakeObject());
        } else {
            const int number = TakeInt();
            const bool bText = number >= 0 && static_cast<std::size_t>(number) < mTexts.size();
            Say("child" + owner + ", " + (bText ? "under " + NameText(number) + " or " : "") +
                "the next item: " + TakeObject());
        }
    }

    int TakeTextIndex()
    {
        const int index = TakeInt();
        CheckIndex(index, mTexts.size(), "string");
        return index;
    }

    void CheckIndex(int index, std::size_t size, const char* pWhat) const
    {
        if (index < -1 || (index >= 0 && static_cast<std::size_t>(index) >= size)) {
            Stop(std::string("there is no ") + pWhat + " " + std::to_string(index) + ", only " +
                 std::to_string(size));
        }
    }

    void CheckRoom(int count, std::size_t size, const std::string& what) const
    {
        if (static_cast<std::size_t>(count) > GetRemaining() / size) {
            Stop("the " + std::to_string(count) + " " + what + " are more than the " +
                 std::to_string(GetRemaining()) + " bytes left can hold");
        }
    }

    // Asks the registry, of which the file is a stranger's idea.
    ChildForm FindChildForm(const ObjectRecord& record)
    {
        const std::string module(GetText(record.mModule));
        const std::string name(GetText(record.mClass));
        const auto [place, bNew] = mChildForms.emplace(module + "." + name, UNKNOWN);
        if (bNew) {
            const Messages unheard;
            if (mbLoadsModules) {
                TryModule(module);
            }
            Object* const pModule = GetModuleTable()->Find(module.c_str());
            Object* const pClass = pModule != nullptr && pModule->IsDerivedType(Table::ClassTable())
                                       ? static_cast<Table*>(pModule)->Find(name.c_str())
                                       : nullptr;
            if (pClass != nullptr && pClass->IsDerivedType(ClassInfoTable::ClassTable())) {
                const ClassInfoTable* const pTable = static_cast<ClassInfoTable*>(pClass);
                const bool bTable = pTable->IsDerivedFrom(Table::ClassTable()) &&
                                    !pTable->IsDerivedFrom(ClassInfoTable::ClassTable());
                place->second = pTable->IsDerivedFrom(List::ClassTable()) ? ITEMS
                                : bTable                                  ? ENTRIES
                                                                          : NO_CHILDREN;
            }
        }
        return place->second;
    }

    std::string_view GetText(int index) const
    {
        return index < 0 ? std::string_view() : mTexts[static_cast<std::size_t>(index)];
    }

    std::string NameText(int index) const
    {
        return index < 0 ? "null" : QuoteShortly(GetText(index)) + " (string " + std::to_string(index) + ")";
    }

    std::string NameObject(int index) const
    {
        if (index < 0) {
            return "null";
        }
        const ObjectRecord& record = mObjects[static_cast<std::size_t>(index)];
        return "object " + std::to_string(index) + " (" + ShowShortly(GetText(record.mModule)) + "." +
               ShowShortly(GetText(record.mClass)) + ")";
    }

    bool mbLoadsModules;
    std::vector<std::string_view> mTexts;
    std::vector<ObjectRecord> mObjects;
    std::unordered_map<std::string, ChildForm> mChildForms;
};

// --- Replication ---

// How a packet's body is made up: one letter for each part.
struct PacketForm
{
    const char* mpName;
    const char* mpParts;
};

enum PacketPart : char
{
    CLASS_NUMBER = 'c',
    NEW_OBJECT = 'O',
    OBJECT = 'o',
    GONE_OBJECT = 'g',
    NEW_PROPERTY = 'P',
    PROPERTY = 'p',
    GONE_PROPERTY = 'q',
    NEW_CHILD = 'H',
    CHILD = 'h',
    GONE_CHILD = 'k',
    NEW_FUNCTION = 'F',
    FUNCTION = 'f',
    TYPE = 't',         // of the property whose id stood in front
    ELEMENT_TYPE = 'y', // the same of an array
    NAME = 'n',         // of what the last new id stands for
    INDEX = 'i',
    SIZE = 's',
    VALUE = 'v',   // of the property
    ELEMENT = 'e', // of the array
    ARGUMENTS = 'a'
};

constexpr PacketForm PACKETS[] = {
    {"root", "o"},
    {"new object", "cO"},
    {"object gone", "g"},
    {"new property", "oPtnv"},
    {"property changes", "pv"},
    {"property gone", "q"},
    {"new array", "oPyn"},
    {"new element", "pie"},
    {"element changes", "pie"},
    {"array is cut", "ps"},
    {"new child of a table", "oHon"},
    {"child changes", "ho"},
    {"child gone", "k"},
    {"new child of a list", "oio"},
    {"child of a list changes", "oio"},
    {"list is cut", "os"},
    {"function", "oFn"},
    {"call", "fa"},
};
constexpr int NUM_PACKETS = static_cast<int>(std::size(PACKETS));
constexpr int MAX_ARGUMENTS = 5;

class FrameWalk : public ByteWalk
{
public:
    FrameWalk(std::string_view bytes, bool bConnection, const std::function<void(const Note&)>& take)
        : ByteWalk(bytes, take), mbConnection(bConnection)
    {}

protected:
    void Walk() override
    {
        if (mbConnection) {
            TakeHello();
            TakeAnswer();
        }
        while (GetRemaining() > 0) {
            TakeFrame();
        }
    }

    std::string TakeText() override { return QuoteShortly(TakeString()); }
    std::string TakeObject() override { return NameObject(TakeId()); }

private:
    struct NamedThing
    {
        unsigned mOwner = 0;
        Value::Type mType = Value::TYPE_VOID;
        std::string mName;
    };
    using Things = std::unordered_map<unsigned, NamedThing>;

    void TakeFrame()
    {
        const int size = TakeInt();
        if (size < 0) {
            Stop("a frame of " + std::to_string(size) + " bytes");
        }
        if (static_cast<std::size_t>(size) > GetRemaining()) {
            Stop("the frame of " + std::to_string(size) + " bytes is cut off: there are " +
                 std::to_string(GetRemaining()));
        }
        Say("frame " + std::to_string(mNumFrames++) +
            (size == 0 ? ": the end of a pass" : ": " + Count(size, "byte")));
        Narrow(static_cast<std::size_t>(size));
        ++mDepth;
        while (GetRemaining() > 0) {
            TakePacket();
        }
        --mDepth;
        Widen();
    }

    void TakePacket()
    {
        const int kind = TakeByte();
        if (kind >= NUM_PACKETS) {
            Stop("there is no packet of kind " + std::to_string(kind));
        }
        Say("packet " + std::to_string(kind) + ": " + PACKETS[kind].mpName);
        mThing = {};
        mpNew = nullptr;
        mbKnown = false;
        ++mDepth;
        for (const char* pPart = PACKETS[kind].mpParts; *pPart != '\0'; ++pPart) {
            TakePart(static_cast<PacketPart>(*pPart));
        }
        --mDepth;
    }

    void TakePart(PacketPart part)
    {
        switch (part) {
        case CLASS_NUMBER:
            mClass = TakeByte();
            Say("class " + NameClass(mClass));
            break;
        case NEW_OBJECT: {
            const unsigned id = TakeId();
            mObjects[id] = mClass;
            Say("object " + std::to_string(id) + " from now on");
            break;
        }
        case OBJECT: {
            const unsigned id = TakeId();
            mThing.mOwner = mThing.mOwner == 0 ? id : mThing.mOwner;
            Say(NameObject(id));
            break;
        }
        case GONE_OBJECT: {
            const unsigned id = TakeId();
            Say(NameObject(id));
            mObjects.erase(id);
            break;
        }
        case NEW_PROPERTY:
            TakeNew(mProperties, "property ");
            break;
        case NEW_CHILD:
            TakeNew(mChildren, "child ");
            break;
        case NEW_FUNCTION:
            TakeNew(mFunctions, "function ");
            break;
        case PROPERTY:
            TakeKnown(mProperties, "property ", false);
            break;
        case GONE_PROPERTY:
            TakeKnown(mProperties, "property ", true);
            break;
        case CHILD:
            TakeKnown(mChildren, "child ", false);
            break;
        case GONE_CHILD:
            TakeKnown(mChildren, "child ", true);
            break;
        case FUNCTION:
            TakeKnown(mFunctions, "function ", false);
            break;
        case TYPE:
            mpNew->mType = CheckType(TakeByte(), true, false);
            Say(std::string("of type ") + GetTypeName(mpNew->mType));
            mThing.mType = mpNew->mType;
            mbKnown = true;
            break;
        case ELEMENT_TYPE:
            mpNew->mType = CheckType(TakeByte(), false, true);
            Say(std::string("elements of type ") + GetTypeName(mpNew->mType));
            break;
        case NAME:
            mpNew->mName = TakeString();
            Say("called " + QuoteShortly(mpNew->mName));
            break;
        case INDEX:
            Say("index " + std::to_string(TakeShort()));
            break;
        case SIZE:
            Say("to " + std::to_string(TakeShort()));
            break;
        case VALUE:
            TakeWireValue(mThing.mType, "= ");
            break;
        case ELEMENT:
            TakeElement();
            break;
        case ARGUMENTS:
            TakeArguments();
            break;
        }
    }

    void TakeNew(Things& rThings, const char* pWhat)
    {
        const unsigned id = TakeId();
        mpNew = &rThings[id];
        *mpNew = {mThing.mOwner, Value::TYPE_VOID, {}};
        Say(pWhat + std::to_string(id) + " from now on");
    }

    // What is unknown has been removed, or was announced before the capture began.
    void TakeKnown(Things& rThings, const char* pWhat, bool bGone)
    {
        const unsigned id = TakeId();
        const auto found = rThings.find(id);
        const bool bOwned = found != rThings.end() && mObjects.count(found->second.mOwner) != 0;
        mbKnown = bOwned;
        mThing = bOwned ? found->second : NamedThing{};
        Say(pWhat + std::to_string(id) +
            (bOwned ? ", " + QuoteShortly(mThing.mName) + " of " + NameObject(mThing.mOwner)
                    : std::string(", which nothing here has announced")));
        if (bGone && found != rThings.end()) {
            rThings.erase(found);
        }
    }

    void TakeWireValue(Value::Type type, const char* pFront)
    {
        if (!mbKnown) {
            Stop("without the announcement of the property nobody knows how long its value is");
        }
        if (type == Value::TYPE_VOID) {
            return; // has no bytes
        }
        Say(pFront + TakeValue(type));
    }

    // In an array of any type each element brings its own along.
    void TakeElement()
    {
        if (mbKnown && mThing.mType == Value::TYPE_VALUE) {
            mThing.mType = CheckType(TakeByte(), true, false);
            Say(std::string("of type ") + GetTypeName(mThing.mType));
        }
        TakeWireValue(mThing.mType, "= ");
    }

    void TakeArguments()
    {
        const int count = TakeByte();
        if (count > MAX_ARGUMENTS) {
            Stop("a call with " + std::to_string(count) + " arguments; there are " +
                 std::to_string(MAX_ARGUMENTS) + " at most");
        }
        Say(Count(count, "argument"));
        mbKnown = true;
        for (int i = 0; i < count; ++i) {
            const Value::Type type = CheckType(TakeByte(), true, false);
            Say("argument " + std::to_string(i) + " of type " + GetTypeName(type));
            TakeWireValue(type, "= ");
        }
    }

    // --- The beginning of a connection ---

    void TakeHello()
    {
        if (TakeBytes(CONNECTION_MARK.size()) != CONNECTION_MARK) {
            Stop("no connection of QNet begins here: its first bytes are not \"QNet\"");
        }
        Say("hello: id \"QNet\"");
        const int version = TakeInt();
        if (version != 1) {
            Stop("version " + std::to_string(version) + " of the connection is not known; 1 is");
        }
        Say("version 1");
        const int size = TakeCount(1, "size of the classes");
        Say("classes in " + Count(size, "byte"));
        Narrow(static_cast<std::size_t>(size));
        ++mDepth;
        while (GetRemaining() > 0) {
            TakeClass();
        }
        --mDepth;
        Widen();
    }

    void TakeClass()
    {
        const std::string module = TakeString();
        const std::string name = TakeString();
        mClasses.push_back(ShowShortly(module) + "." + ShowShortly(name));
        Say("class " + std::to_string(mClasses.size() - 1) + ": " + mClasses.back());
        ++mDepth;
        const int properties = TakeCount(6, "count of properties");
        Say(std::to_string(properties) + " properties");
        for (int i = 0; i < properties; ++i) {
            TakeDeclaredProperty();
        }
        const int functions = TakeCount(7, "count of functions");
        Say(Count(functions, "function"));
        for (int i = 0; i < functions; ++i) {
            TakeDeclaredFunction();
        }
        --mDepth;
    }

    void TakeDeclaredProperty()
    {
        const std::string name = QuoteShortly(TakeString());
        const int type = TakeByte();
        const int flags = TakeByte();
        Say("property " + name + ": " + NameType(type) + ((flags & 1) != 0 ? "[]" : "") +
            ((flags & 2) != 0 ? ", not in files" : ""));
    }

    void TakeDeclaredFunction()
    {
        const std::string name = QuoteShortly(TakeString());
        const int kind = TakeByte();
        const int result = TakeByte();
        const int count = TakeByte();
        std::string text = (kind == 1 ? "static function " : "function ") + name + ": (";
        for (int i = 0; i < count; ++i) {
            text += (i > 0 ? ", " : "") + NameType(TakeByte());
        }
        Say(text + "): " + NameType(result));
    }

    void TakeAnswer()
    {
        if (GetRemaining() == 0) {
            return; // a side that nobody answered
        }
        const bool bAgreed = TakeByte() == 1;
        Say(bAgreed ? "answer: agreed" : "answer: refused");
        const int size = TakeCount(1, "length of the reason");
        Say("a reason of " + Count(size, "byte"));
        if (size > 0) {
            const std::string reason(TakeBytes(static_cast<std::size_t>(size)));
            Say(QuoteShortly(reason));
        }
    }

    // --- Names ---

    std::string TakeString()
    {
        const int size = TakeCount(1, "length of a string");
        return std::string(TakeBytes(static_cast<std::size_t>(size)));
    }

    std::string NameType(int type) const { return GetTypeName(CheckType(type, true, true)); }

    std::string NameClass(int number) const
    {
        const std::size_t index = static_cast<std::size_t>(number);
        return std::to_string(number) + (index < mClasses.size() ? " (" + mClasses[index] + ")" : "");
    }

    std::string NameObject(unsigned id) const
    {
        if (id == 0) {
            return "no object";
        }
        const auto found = mObjects.find(id);
        return "object " + std::to_string(id) +
               (found != mObjects.end() ? " of class " + NameClass(found->second) : ", which is not here");
    }

    bool mbConnection;
    int mNumFrames = 0;
    std::vector<std::string> mClasses;          // as the hello names them
    std::unordered_map<unsigned, int> mObjects; // the class of each id
    Things mProperties, mChildren, mFunctions;

    // Of the packet at hand.
    int mClass = 0;
    NamedThing mThing;           // what its ids stand for
    NamedThing* mpNew = nullptr; // what it announces
    bool mbKnown = false;        // the type of its value
};

} // namespace

ByteForm RecogniseBytes(std::string_view bytes)
{
    if (bytes.starts_with(FILE_MARK)) {
        return ByteForm::FILE;
    }
    if (bytes.starts_with(CONNECTION_MARK)) {
        return ByteForm::CONNECTION;
    }
    // A frame tells its size, and its first packet its kind.
    if (bytes.size() >= 4) {
        const int size = ValueBytes::LoadInt(reinterpret_cast<const unsigned char*>(bytes.data()));
        const bool bPacket = bytes.size() == 4 || static_cast<unsigned char>(bytes[4]) < NUM_PACKETS;
        if (size == 0 || (size > 0 && static_cast<std::size_t>(size) <= bytes.size() - 4 && bPacket)) {
            return ByteForm::FRAMES;
        }
    }
    return ByteForm::UNKNOWN;
}

Ending Annotate(std::string_view bytes, ByteForm form, bool loadsModules,
                const std::function<void(const Note&)>& take)
{
    if (form == ByteForm::FILE) {
        return FileWalk(bytes, loadsModules, take).Run();
    }
    return FrameWalk(bytes, form == ByteForm::CONNECTION, take).Run();
}

} // namespace Quirl
