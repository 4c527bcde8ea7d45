#include "QBase/Resource.h"

#include "QBase/Error.h"
#include "QBase/Reflection.h"
#include "QBase/SystemFile.h"

namespace QBase
{

namespace
{

// In characters. Four, as in "a.ab", are the fewest that name a file with an extension.
constexpr unsigned LONGEST_INVALID_FILENAME = 3;

} // namespace

QBASE_IMPLEMENT_ABSTRACT(QBase, Resource)

void Resource::Implement()
{
    Describe("Something that is loaded from a file by name");
    AddFunction<&Resource::Load>("Load");
    AddProperty<&Resource::GetFilename, &Resource::SetFilename>("Filename");
}

Resource::Resource(const Value&)
{}

Resource& Resource::operator=(const Resource& other)
{
    mFilename = other.mFilename;
    return *this;
}

bool Resource::Load(const String& filename)
{
    if (filename != String::Null) {
        mFilename = filename;
    }
    if (mFilename == String::Null || mFilename.length() <= LONGEST_INVALID_FILENAME) {
        Error(QBASE_HERE, "%s.%s resource load failed: invalid filename", GetModuleName().c_str(),
              GetClassName().c_str());
        return false;
    }

    const Ptr<SystemFile> pFile = SystemFile::Construct(Value::Null);
    if (pFile == nullptr || !pFile->Open(mFilename, File::MODE_READ)) {
        Error(QBASE_HERE, "%s.%s resource load failed: cannot open file '%s'", GetModuleName().c_str(),
              GetClassName().c_str(), mFilename.c_str());
        return false;
    }
    if (pFile->GetSize() <= 0) {
        Error(QBASE_HERE, "%s.%s resource load failed: invalid file size for '%s'", GetModuleName().c_str(),
              GetClassName().c_str(), mFilename.c_str());
        return false;
    }
    return LoadFile(pFile);
}

} // namespace QBase
