// Resource is the base of objects whose content comes from a file: a texture, a sound, a table of data. It
// finds and opens the file; the class derived from it reads the content.
//
//     class Texture : public Resource
//     {
//         QBASE_OBJECT(Texture, Resource)
//     protected:
//         bool LoadFile(File* pFile) override; // reads pFile from its start
//     };
//
//     pTexture->Load("Moon.tga");
//     pTexture->Load(String::Null); // the same file again
//
// Threads: nothing here locks; whoever shares a resource guards it.

#pragma once

#include "QBase/Object.h"

namespace QBase
{

class File;

class QBASE_API Resource : public Object
{
    QBASE_OBJECT(Resource, Object)

public:
    /// Loads the file of that name and keeps the name, also when loading fails. String::Null loads the name
    /// kept. Names of three characters and fewer, and empty files, are reported as invalid.
    bool Load(const String& filename);

    /// The name of the last Load or SetFilename that gave one.
    String GetFilename() { return mFilename; }

    /// Names the file without loading it.
    void SetFilename(const String& filename) { mFilename = filename; }

protected:
    explicit Resource(const Value& value);
    Resource(const Resource& other) = default;
    Resource& operator=(const Resource& other);

    /// Reads the content from an open file that stands at its start. The file closes afterwards unless it is
    /// held, so what is needed later is copied.
    virtual bool LoadFile(File* pFile) = 0;

private:
    String mFilename;
};

} // namespace QBase
