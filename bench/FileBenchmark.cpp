// Files and streams: 16 MiB written and read in small and in large pieces.

#include "Model.h"
#include "Rows.h"

#include "QBase/IOStream.h"
#include "QBase/MemoryFile.h"
#include "QBase/SystemFile.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <deque>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

namespace Bench
{
namespace
{

constexpr std::size_t FILE_SIZE = 16 << 20;

// A file in a folder for temporary ones, deleted at the end of the program.
class Scratch
{
public:
    Scratch()
    {
        int number = 0;
        do {
            mFolder = (std::filesystem::temp_directory_path() / "QBaseBenchmark-").string() +
                      std::to_string(number++);
        } while (!std::filesystem::create_directory(mFolder));
        mPath = mFolder + "/file.bin";
        std::ofstream(mPath, std::ios::binary) << std::string(FILE_SIZE, 'x');
    }
    ~Scratch() { std::filesystem::remove_all(mFolder); }
    const char* GetPath() const { return mPath.c_str(); }

private:
    std::string mFolder;
    std::string mPath;
};

const char* ScratchPath()
{
    static const Scratch sScratch;
    return sScratch.GetPath();
}

// Participants open, move pieces and close. Each item is one piece.
template <typename Participant>
void Write(benchmark::State& state, std::size_t step)
{
    const std::vector<char> bytes(step, 'x');
    Participant participant;
    for (auto _ : state) {
        participant.OpenToWrite(ScratchPath());
        for (std::size_t i = 0; i < FILE_SIZE; i += step) {
            participant.Write(bytes.data(), step);
        }
        participant.Close();
    }
    CountItems(state, static_cast<std::int64_t>(FILE_SIZE / step));
}

template <typename Participant>
void Read(benchmark::State& state, std::size_t step)
{
    std::vector<char> bytes(step);
    Participant participant;
    for (auto _ : state) {
        participant.OpenToRead(ScratchPath());
        for (std::size_t i = 0; i < FILE_SIZE; i += step) {
            participant.Read(bytes.data(), step);
            benchmark::DoNotOptimize(bytes.data());
        }
        participant.Close();
    }
    CountItems(state, static_cast<std::int64_t>(FILE_SIZE / step));
}

class QBaseFile
{
public:
    void OpenToRead(const char* pPath) { mpFile->Open(pPath, QBase::File::MODE_READ); }
    void OpenToWrite(const char* pPath) { mpFile->Open(pPath, QBase::File::MODE_WRITE); }
    void Read(char* pBytes, std::size_t size) { mpFile->Read(pBytes, static_cast<int>(size)); }
    void Write(const char* pBytes, std::size_t size) { mpFile->Write(pBytes, static_cast<int>(size)); }
    void Close() { mpFile->Close(); }

private:
    Ptr<QBase::File> mpFile = QBase::SystemFile::Construct(Value::Null);
};

class QBaseMemory
{
public:
    void OpenToRead(const char*)
    {
        if (mBytes.empty()) {
            mBytes.resize(FILE_SIZE, 'x');
        }
        mpFile->OpenBuffer(mBytes.data(), static_cast<int>(mBytes.size()), "memory", QBase::File::MODE_READ);
    }
    void OpenToWrite(const char*) { mpFile->Open("memory", QBase::File::MODE_WRITE); }
    void Read(char* pBytes, std::size_t size) { mpFile->Read(pBytes, static_cast<int>(size)); }
    void Write(const char* pBytes, std::size_t size) { mpFile->Write(pBytes, static_cast<int>(size)); }
    void Close() { mpFile->Close(); }

private:
    std::vector<char> mBytes;
    Ptr<QBase::MemoryFile> mpFile = QBase::MemoryFile::Construct(Value::Null);
};

template <bool bLocked>
class Stdio
{
public:
    void OpenToRead(const char* pPath) { mpFile = std::fopen(pPath, "rb"); }
    void OpenToWrite(const char* pPath) { mpFile = std::fopen(pPath, "wb"); }
    void Read(char* pBytes, std::size_t size)
    {
        const std::size_t count =
            bLocked ? std::fread(pBytes, 1, size, mpFile) : fread_unlocked(pBytes, 1, size, mpFile);
        benchmark::DoNotOptimize(count);
    }
    void Write(const char* pBytes, std::size_t size)
    {
        const std::size_t count =
            bLocked ? std::fwrite(pBytes, 1, size, mpFile) : fwrite_unlocked(pBytes, 1, size, mpFile);
        benchmark::DoNotOptimize(count);
    }
    void Close() { std::fclose(mpFile); }

private:
    std::FILE* mpFile = nullptr;
};

class Fstream
{
public:
    void OpenToRead(const char* pPath) { mFile.open(pPath, std::ios::binary | std::ios::in); }
    void OpenToWrite(const char* pPath)
    {
        mFile.open(pPath, std::ios::binary | std::ios::out | std::ios::trunc);
    }
    void Read(char* pBytes, std::size_t size) { mFile.read(pBytes, static_cast<std::streamsize>(size)); }
    void Write(const char* pBytes, std::size_t size)
    {
        mFile.write(pBytes, static_cast<std::streamsize>(size));
    }
    void Close() { mFile.close(); }

private:
    std::fstream mFile;
};

// A block of memory between the pieces and the system, and nothing else.
class Bound
{
public:
    Bound() : mBytes(1 << 16) {}
    void OpenToRead(const char* pPath)
    {
        mHandle = open(pPath, O_RDONLY);
        mPosition = mEnd = 0;
    }
    void OpenToWrite(const char* pPath)
    {
        mHandle = open(pPath, O_WRONLY | O_TRUNC);
        mPosition = 0;
        mbWriting = true;
    }
    void Read(char* pBytes, std::size_t size)
    {
        if (mPosition + size > mEnd) {
            mEnd = static_cast<std::size_t>(read(mHandle, mBytes.data(), mBytes.size()));
            mPosition = 0;
        }
        std::memcpy(pBytes, mBytes.data() + mPosition, size);
        mPosition += size;
    }
    void Write(const char* pBytes, std::size_t size)
    {
        if (mPosition + size > mBytes.size()) {
            Flush();
        }
        std::memcpy(mBytes.data() + mPosition, pBytes, size);
        mPosition += size;
    }
    void Close()
    {
        if (mbWriting) {
            Flush();
        }
        mbWriting = false;
        close(mHandle);
    }

private:
    void Flush()
    {
        const ssize_t count = write(mHandle, mBytes.data(), mPosition);
        benchmark::DoNotOptimize(count);
        mPosition = 0;
    }

    int mHandle = -1;
    std::vector<char> mBytes;
    std::size_t mPosition = 0;
    std::size_t mEnd = 0;
    bool mbWriting = false;
};

// --- Queues of bytes: a piece in at one end and out at the other, with 1 MiB waiting between ---

constexpr std::size_t BACKLOG_SIZE = 1 << 20;

void QBaseQueue(benchmark::State& state)
{
    const std::vector<char> backlog(BACKLOG_SIZE, 'x');
    const Ptr<QBase::IOStream> pStream = QBase::IOStream::Construct(Value::Null);
    pStream->Write(backlog.data(), static_cast<int>(backlog.size()));
    char piece[64] = {};
    pStream->Write(piece, sizeof(piece)); // finds room for more
    pStream->Read(piece, sizeof(piece));
    for (auto _ : state) {
        pStream->Write(piece, sizeof(piece));
        pStream->Read(piece, sizeof(piece));
    }
}

void StandardQueue(benchmark::State& state)
{
    std::deque<char> queue(BACKLOG_SIZE, 'x');
    char piece[64] = {};
    for (auto _ : state) {
        queue.insert(queue.end(), std::begin(piece), std::end(piece));
        std::copy(queue.begin(), queue.begin() + sizeof(piece), piece);
        queue.erase(queue.begin(), queue.begin() + sizeof(piece));
    }
}

template <typename Participant>
void Enter(const char* pParticipant)
{
    const Area area("files");
    for (const std::size_t step : {8, 4096}) {
        area.Enter("write " + std::to_string(step) + " bytes", pParticipant, Write<Participant>, step);
        area.Enter("read " + std::to_string(step) + " bytes", pParticipant, Read<Participant>, step);
    }
}

const bool sbEntered = [] {
    Enter<QBaseFile>("QBase");
    Enter<QBaseMemory>("QBase, MemoryFile");
    Enter<Stdio<true>>("stdio");
    Enter<Stdio<false>>("stdio, unlocked");
    Enter<Fstream>("fstream");
    Enter<Bound>("bound: one buffer");
    const Area area("files");
    area.Enter("64 bytes through a queue", "QBase", QBaseQueue);
    area.Enter("64 bytes through a queue", "std::deque", StandardQueue);
    return true;
}();

} // namespace
} // namespace Bench
