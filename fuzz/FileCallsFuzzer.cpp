// A memory file, one over a caller's buffer and a stream, driven by any sequence of calls, beside a plain
// model of what they hold.

#include "Support/FuzzInput.h"
#include "Support/FuzzRun.h"

#include "QBase/IOStream.h"
#include "QBase/MemoryFile.h"

#include <string>

using namespace QBase;

namespace
{

// The bytes and the position that an open file of its own memory has to have.
class FileModel
{
public:
    void Write(std::string_view bytes)
    {
        mBytes.resize((std::max)(mBytes.size(), mPosition + bytes.size()));
        mBytes.replace(mPosition, bytes.size(), bytes);
        mPosition += bytes.size();
    }

    // Everything or nothing.
    std::string_view Read(int count)
    {
        if (count < 0 || static_cast<std::size_t>(count) > mBytes.size() - mPosition) {
            return {};
        }
        const std::string_view bytes =
            std::string_view(mBytes).substr(mPosition, static_cast<std::size_t>(count));
        mPosition += bytes.size();
        return bytes;
    }

    // Stops at the ends.
    void Seek(std::int64_t target)
    {
        const std::int64_t size = static_cast<std::int64_t>(mBytes.size());
        mPosition = static_cast<std::size_t>(target < 0 ? 0 : target > size ? size : target);
    }

    std::string mBytes;
    std::size_t mPosition = 0;
};

class FileCalls
{
public:
    FileCalls() : mpFile(MemoryFile::Construct(Value::Null)), mBuffer(4096, '\0')
    {
        FUZZ_EXPECT(mpFile->Open("model", File::MODE_READ | File::MODE_WRITE));
    }

    void Run(FuzzInput& rInput)
    {
        switch (rInput.TakeBelow(8)) {
        case 0: {
            const std::string_view bytes = rInput.TakeBytes(static_cast<std::size_t>(rInput.TakeByte()));
            FUZZ_EXPECT(mpFile->Write(bytes.data(), static_cast<int>(bytes.size())) ==
                        static_cast<int>(bytes.size()));
            mModel.Write(bytes);
            break;
        }
        case 1: {
            const int count = rInput.TakeByte() - 4;
            const int numRead = mpFile->Read(mBuffer.data(), count);
            const std::string_view expected = mModel.Read(count);
            FUZZ_EXPECT(numRead == static_cast<int>(expected.size()));
            FUZZ_EXPECT(mBuffer.compare(0, expected.size(), expected) == 0);
            break;
        }
        case 2: {
            const int target = rInput.TakeInt();
            mpFile->SeekStart(target);
            mModel.Seek(target);
            break;
        }
        case 3: {
            const int offset = rInput.TakeInt();
            mpFile->SeekCurrent(offset);
            mModel.Seek(static_cast<std::int64_t>(mModel.mPosition) + offset);
            break;
        }
        case 4: {
            const int offset = rInput.TakeInt();
            mpFile->SeekEnd(offset);
            mModel.Seek(static_cast<std::int64_t>(mModel.mBytes.size()) + offset);
            break;
        }
        case 5: {
            const Ptr<MemoryFile> pCopy = MakeClone<MemoryFile>(mpFile);
            FUZZ_EXPECT(pCopy->GetSize() == mpFile->GetSize());
            break;
        }
        case 6:
            FUZZ_EXPECT(mpFile->Open("model", File::MODE_READ | File::MODE_WRITE));
            mModel = FileModel();
            break;
        default: {
            const int target = rInput.TakeBelow(64);
            mpFile->SeekStart(target);
            mModel.Seek(target);
            break;
        }
        }
        FUZZ_EXPECT(mpFile->Tell() == static_cast<int>(mModel.mPosition));
        FUZZ_EXPECT(mpFile->GetSize() == static_cast<int>(mModel.mBytes.size()));
        FUZZ_EXPECT(mpFile->BytesAvailable() == static_cast<int>(mModel.mBytes.size() - mModel.mPosition));
    }

private:
    Ptr<MemoryFile> mpFile;
    FileModel mModel;
    std::string mBuffer;
};

// A queue of bytes.
class StreamCalls
{
public:
    StreamCalls() : mpStream(IOStream::Construct(Value::Null)), mBuffer(256, '\0') {}

    void Run(FuzzInput& rInput)
    {
        switch (rInput.TakeBelow(3)) {
        case 0: {
            const std::string_view bytes = rInput.TakeBytes(static_cast<std::size_t>(rInput.TakeByte()));
            FUZZ_EXPECT(mpStream->Write(bytes.data(), static_cast<int>(bytes.size())) ==
                        static_cast<int>(bytes.size()));
            mExpected += bytes;
            break;
        }
        case 1: {
            const int count = rInput.TakeByte() - 4;
            const std::size_t numTaken = NumTaken(count);
            FUZZ_EXPECT(mpStream->Read(static_cast<void*>(mBuffer.data()), count) ==
                        static_cast<int>(numTaken));
            FUZZ_EXPECT(mBuffer.compare(0, numTaken, mExpected, 0, numTaken) == 0);
            mExpected.erase(0, numTaken);
            break;
        }
        default: {
            const int count = rInput.TakeByte() - 4;
            const std::size_t numTaken = NumTaken(count);
            char* pBytes = nullptr;
            FUZZ_EXPECT(mpStream->Read(&pBytes, count) == static_cast<int>(numTaken));
            FUZZ_EXPECT(numTaken == 0 || mExpected.compare(0, numTaken, pBytes, numTaken) == 0);
            mExpected.erase(0, numTaken);
            break;
        }
        }
        FUZZ_EXPECT(mpStream->BytesAvailable() == static_cast<int>(mExpected.size()));
    }

private:
    std::size_t NumTaken(int count) const
    {
        return count < 0 || static_cast<std::size_t>(count) > mExpected.size()
                   ? 0
                   : static_cast<std::size_t>(count);
    }

    Ptr<IOStream> mpStream;
    std::string mExpected;
    std::string mBuffer;
};

// Bytes of the caller, with guards around them that have to stay.
void RunOnBuffer(FuzzInput& rInput, int flags)
{
    std::string bytes(64, '#');
    const Ptr<MemoryFile> pFile = MemoryFile::Construct(Value::Null);
    if (!pFile->OpenBuffer(bytes.data() + 16, 32, "buffer", flags)) {
        return;
    }
    std::string piece(256, '-');
    for (int i = 0; i < 16; ++i) {
        const int count = rInput.TakeByte() - 4;
        pFile->Write(piece.data(), count);
        pFile->SeekCurrent(rInput.TakeByte() - 128);
        std::string read(256, '\0');
        pFile->Read(read.data(), rInput.TakeByte() - 4);
    }
    FUZZ_EXPECT(bytes.substr(0, 16) == std::string(16, '#'));
    FUZZ_EXPECT(bytes.substr(48) == std::string(16, '#'));
    FUZZ_EXPECT((flags & File::MODE_WRITE) || bytes == std::string(64, '#'));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t size)
{
    const FuzzRun run;
    FuzzInput input(pData, size);
    RunOnBuffer(input, input.TakeByte());
    FileCalls file;
    StreamCalls stream;
    while (!input.IsEmpty()) {
        if (input.TakeByte() % 2 == 0) {
            file.Run(input);
        } else {
            stream.Run(input);
        }
    }
    return 0;
}
