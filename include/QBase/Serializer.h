// Serializer saves an object, with everything that can be reached from it, to a file, and loads it back:
// values of properties, objects that properties, tables and lists refer to, shared references and cycles.
//
//     Ptr<Serializer> pSerializer = BinarySerializer::Construct(Value::Null); // or AsciiSerializer
//     Ptr<File> pFile = SystemFile::Construct(Value::Null);
//     if (pFile->Open("scene.dat", File::MODE_WRITE))
//         pSerializer->Serialize(pScene, pFile);
//
// Which properties count, and in which order, is the same everywhere: see Property::IsExcluded. A class may
// change between saving and loading; a stored value that no longer fits is passed over with a warning.
//
// Files of strangers can be held to limits: see LoadLimits.
//
// Threads: a serializer holds nothing but its limits between calls, but the graph is to stand still during
// one.

#pragma once

#include "QBase/LoadLimits.h"
#include "QBase/Object.h"

namespace QBase
{

class File;

class QBASE_API Serializer : public Object
{
    QBASE_OBJECT(Serializer, Object)

public:
    /// Writes from the file's position on and leaves the file open. False, after a report, when the graph
    /// holds something that no file can, when memory runs out, or when not all bytes could be written. A null
    /// object makes a file without objects.
    virtual bool Serialize(Object* pObject, File* pFile) = 0;

    /// The object as a Value, or the void Value after a report. Damaged files leave nothing behind, nor does
    /// a load that runs out of memory. Stored values of properties that are excluded now are passed over with
    /// a warning.
    virtual Value Deserialize(File* pFile) = 0;

    /// What Deserialize may cost before it gives up.
    void SetLimits(const LoadLimits& limits) { mLimits = limits; }
    const LoadLimits& GetLimits() const { return mLimits; }

    /// The same for scripts, one by one.
    bool SetLimit(const String& name, int limit) { return mLimits.Set(name, limit); }
    void AllowClass(const String& name) { mLimits.mClasses.push_back(name); }
    void SetFilesTrusted(bool bTrusted) { mLimits.mbTrusted = bTrusted; }

    /// For handlers of reports: where in its file the load stands that is running here, as in "root.Sun, line
    /// 12" or "object 3", counted from 0. Empty when none is running, and before its first object.
    static String GetPlace();

protected:
    explicit Serializer(const Value& value);
    Serializer(const Serializer& other) = default;
    Serializer& operator=(const Serializer& other) = default;

private:
    LoadLimits mLimits;
};

} // namespace QBase
