#include "QBase/File.h"

#include "QBase/Reflection.h"

namespace QBase
{

QBASE_IMPLEMENT_ABSTRACT(QBase, File)

// Units that take an address find it here; not every system makes a copy where a constant is used.
constexpr int File::MODE_READ;
constexpr int File::MODE_WRITE;

void File::Implement()
{
    Describe("Bytes with a position, to be read or written");
    AddFunction<&File::Open>("Open");
    AddFunction<&File::Close>("Close");
    AddFunction<&File::SeekCurrent>("SeekCurrent");
    AddFunction<&File::SeekStart>("SeekStart");
    AddFunction<&File::SeekEnd>("SeekEnd");
    AddFunction<&File::Tell>("Tell");
    AddProperty<&File::GetFilename, &File::SetFilename>("Filename");
    AddConstant<File::MODE_READ>("MODE_READ");
    AddConstant<File::MODE_WRITE>("MODE_WRITE");
}

File::File(const Value& value) : Stream(value)
{}

int File::BytesAvailable()
{
    return GetSize() - Tell();
}

} // namespace QBase
