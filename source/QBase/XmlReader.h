// XmlReader rebuilds an object graph from the text of an XML document.
//
//     XmlReader reader(filename, guard);
//     if (reader.IsAllowed() && reader.Parse(text))
//         Value root = reader.Read();   // void after a report; once

#pragma once

#include "QBase/BuiltGraph.h"
#include "QBase/Function.h"
#include "QBase/List.h"
#include "QBase/LoadGuard.h"
#include "QBase/LoadPlace.h"
#include "QBase/LoadedClasses.h"
#include "QBase/PositionIndex.h"
#include "QBase/Property.h"
#include "QBase/Table.h"
#include "QBase/XmlRecords.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace QBase
{

class StoredProperty;

class XmlReader final : private LoadPlace
{
public:
    XmlReader(const String& filename, const LoadGuard& guard) : mFilename(filename), mGuard(guard) {}

    /// False, after a report, when the text is too long for the host's limits.
    bool IsAllowed() const { return IsFine(mGuard.CheckBytes()); }

    /// False, after a report, when the text is no well-formed document. The text is not needed after that.
    bool Parse(std::string_view text);
    Value Read();

private:
    // What the class of an object has under the name at one place among its elements.
    struct Slot
    {
        String mName;
        Ptr<Property> mpProperty; // null for a name that the class does not know
    };
    using Class = LoadedClasses<Slot>::Class;

    using ObjectRecord = XmlRecords::ObjectRecord;
    using ContentRecord = XmlRecords::ContentRecord;

    std::string Describe() const override;
    bool CheckHeader() const;
    bool CheckMemory(int position) const { return IsFine(mGuard.CheckMemory(mGraph.GetAt(position))); }
    bool CheckStringLength(std::string_view text) const
    {
        return IsFine(mGuard.CheckStringLength(text.size()));
    }
    bool CheckNesting();
    bool IsFine(const std::string& trouble) const;
    bool ReadObjects();
    bool ReadObject(const ObjectRecord& record);
    Ptr<Object> ConstructObject(const ObjectRecord& record);
    bool ReadAllContents();
    bool ReadContents(const ObjectRecord& record, Object* pObject);
    bool ReadProperty(const ContentRecord& record, Object* pObject, Class& rClass, int place);
    bool ReadArray(Object* pObject, Value::Type type, const Slot& slot);
    bool ReadEntry(const ContentRecord& record, Table* pTable);
    bool ReadItem(const ContentRecord& record, List* pList);
    bool ReadValue(const ContentRecord& record, Value::Type type, Property* pProperty, Value& rValue);
    bool ReadEnum(std::string_view text, Property* pProperty, Value& rValue) const;

    const Slot& FindProperty(Object* pObject, Class& rClass, int place, const ContentRecord& record);
    void NoteReference(Value::Type type, const StoredProperty& property);
    bool FindObject(std::string_view path, Value& rObject);
    std::string_view GetPath(int position) const
    {
        return mRecords.GetText(mRecords.GetObjects()[static_cast<std::size_t>(position)].mPath);
    }

    String mFilename;
    LoadGuard mGuard;
    XmlRecords mRecords;
    std::size_t mNextContent = 0; // the record behind the one that is being read
    BuiltGraph mGraph;
    const ObjectRecord* mpObjectRecord = nullptr; // of the object that is being made, or filled
    int mLine = 0;                                // of that or what stands below it
    int mPosition = 0;                            // of the object whose contents are being read
    int mLastObject = -1;                         // the position that FindObject found; -1 for null
    PositionIndex mPathIndex;

    LoadedClasses<Slot> mClasses;
    Slot mOwnSlot; // of an object with properties of its own

    std::uint32_t mLastClass = 0; // of the object before
    Ptr<Function> mpLastConstruct;
};

} // namespace QBase
