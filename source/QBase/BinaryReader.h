// BinaryReader rebuilds an object graph from the bytes that follow the header of a binary file.
//
//     BinaryReader reader(pFile, limits); // behind the header
//     Value root = reader.Read();         // void after a report; once
//
// It trusts nothing that it reads: counts are held against the bytes left, indices against their tables, and
// everything against the host's limits.

#pragma once

#include "QBase/BuiltGraph.h"
#include "QBase/File.h"
#include "QBase/FileBytes.h"
#include "QBase/FileFormat.h"
#include "QBase/Function.h"
#include "QBase/LoadGuard.h"
#include "QBase/LoadPlace.h"
#include "QBase/LoadedClasses.h"
#include "QBase/PositionIndex.h"
#include "QBase/Property.h"
#include "QBase/StoredMember.h"
#include "QBase/ValueBytes.h"

#include <string>
#include <vector>

namespace QBase
{

class StoredProperty;

class BinaryReader final : private LoadPlace
{
public:
    /// The file stays the caller's.
    BinaryReader(File* pFile, const LoadLimits& limits)
        : mBytes(pFile), mFilename(pFile->GetFilename()),
          mGuard(limits, limits.mbTrusted,
                 static_cast<std::int64_t>(mBytes.GetRemaining()) + FileFormat::BINARY_HEADER_SIZE)
    {}

    /// Leaves the file behind the last byte of the graph; anywhere after a failure.
    Value Read();

private:
    template <typename Source, typename References>
    friend bool ValueBytes::Read(Source& rBytes, Value::Type type, Value& rValue, References& rReferences);

    // A class as the file names it.
    struct StoredClass
    {
        String mModule;
        String mName;
        Ptr<Function> mpConstruct; // null for a class that is not registered
        std::string mTrouble;      // why there must be no objects of the class; mostly empty
    };

    static constexpr int NO_FLAGS = -1; // no record's

    // What the class of an object has under the name at one place of its record.
    struct Slot
    {
        int mNameIndex = -2;                  // no name's
        Ptr<Property> mpProperty;             // null for a name that the class does not know
        int mFlags = NO_FLAGS;                // of the record whose values the member takes as they are
        Value::Type mType = Value::TYPE_VOID; // theirs
        bool mbArray = false;
        StoredMember mMember;
    };
    using Class = LoadedClasses<Slot>::Class;

    struct ObjectRecord
    {
        int mPropertyCount;
        int mChildCount;
    };

    struct PropertyRecord
    {
        int mNameIndex;
        const String& mName;
        int mFlags;
        Value::Type mType;
        bool mbArray;
        bool mbDynamic;
    };

    std::string Describe() const override;
    bool ReadCounts(int& rTextCount, int& rObjectCount);
    bool ReadTexts(int count);
    bool ReadObjects(int count);
    bool ReadContents();
    bool ReadAllContents();
    bool CheckMemory() const
    {
        return QBASE_LIKELY(mGuard.HasMemory()) || IsFine(mGuard.DescribeMemory(mGraph.GetAt(mPosition)));
    }
    bool CheckNesting();
    bool ReadProperty(Object* pObject, Class& rClass, int place);
    const Slot* TakeExpectedHeader(const Object* pObject, const Class& loadedClass, std::size_t place);
    bool ReadMember(Object* pObject, const Slot& slot);
    bool ReadMemberObject(Object* pObject, const Slot& slot);
    bool ReadMemberArray(Object* pObject, const Slot& slot);
    bool ReadElements(Object* pObject, const Slot& slot, int count);
    bool ReadPlainElements(Object* pObject, const Slot& slot, int count);
    bool ReadArray(Object* pObject, const PropertyRecord& record, Property* pProperty);
    bool ReadChild(Object* pObject, const Class& loadedClass);
    bool ReadText(FileBytes& rBytes, Value& rText);
    bool ReadObject(FileBytes& rBytes, Value& rObject);
    bool ReadReference(Object*& rpObject);
    bool ReadTextIndex(int& rIndex);

    Ptr<Object> ConstructObject(int moduleIndex, int nameIndex);
    void NoteReference(Value::Type type, const StoredProperty& property);
    const Slot& FindSlot(Object* pObject, Class& rClass, int place, const PropertyRecord& record);
    static Slot MakeSlot(Object* pObject, const PropertyRecord& record, Property* pProperty);
    const String& GetText(int index) const
    {
        return index < 0 ? String::Null : mTexts[static_cast<std::size_t>(index)];
    }

    bool CheckIndex(int index, std::size_t size) const;
    bool Fail(const char* pWhat) const;
    bool IsFine(const std::string& trouble) const;
    bool FailShort() const { return Fail("unexpected end of file"); }

    FileBytes mBytes;
    String mFilename;
    LoadGuard mGuard;
    std::vector<String> mTexts;
    std::vector<ObjectRecord> mRecords;
    BuiltGraph mGraph;
    int mPosition = -1;   // of the object that is being made, or filled
    int mLastObject = -1; // the index that ReadReference read

    std::vector<StoredClass> mStoredClasses;
    PositionIndex mStoredClassIndex; // by both name indices
    std::uint64_t mLastClassKey = ~std::uint64_t(0);
    int mLastStoredClass = 0;

    LoadedClasses<Slot> mClasses;
    Slot mOwnSlot; // of an object with properties of its own
};

} // namespace QBase
