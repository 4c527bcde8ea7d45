// Files and streams beside the C runtime and the standard library.

#include "QBase/IOStream.h"
#include "QBase/MemoryFile.h"
#include "QBase/SystemFile.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

using namespace QBase;

namespace
{

constexpr int FILE_BYTES = 16 << 20;

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
        std::ofstream(Path(), std::ios::binary) << std::string(FILE_BYTES, 'x');
    }
    ~Scratch() { std::filesystem::remove_all(mFolder); }
    std::string Path() const { return mFolder + "/file.bin"; }

private:
    std::string mFolder;
};

const std::string& ScratchPath()
{
    static const Scratch sScratch;
    static const std::string sPath = sScratch.Path();
    return sPath;
}

void CountBytes(benchmark::State& state)
{
    state.SetItemsProcessed(state.iterations() * (FILE_BYTES / state.range(0)));
    state.SetBytesProcessed(state.iterations() * FILE_BYTES);
}

void SystemFileRead(benchmark::State& state)
{
    const int step = static_cast<int>(state.range(0));
    std::vector<char> bytes(static_cast<std::size_t>(step));
    const Ptr<File> pFile = SystemFile::Construct(Value::Null);
    for (auto _ : state) {
        pFile->Open(ScratchPath().c_str(), File::MODE_READ);
        for (int i = 0; i < FILE_BYTES; i += step) {
            pFile->Read(bytes.data(), step);
            benchmark::DoNotOptimize(bytes.data());
        }
        pFile->Close();
    }
    CountBytes(state);
}
BENCHMARK(SystemFileRead)->Arg(8)->Arg(4096);

void StdioRead(benchmark::State& state)
{
    const std::size_t step = static_cast<std::size_t>(state.range(0));
    std::vector<char> bytes(step);
    for (auto _ : state) {
        std::FILE* const pFile = std::fopen(ScratchPath().c_str(), "rb");
        for (std::size_t i = 0; i < FILE_BYTES; i += step) {
            if (std::fread(bytes.data(), 1, step, pFile) != step) {
                std::abort();
            }
            benchmark::DoNotOptimize(bytes.data());
        }
        std::fclose(pFile);
    }
    CountBytes(state);
}
BENCHMARK(StdioRead)->Arg(8)->Arg(4096);

void FstreamRead(benchmark::State& state)
{
    const int step = static_cast<int>(state.range(0));
    std::vector<char> bytes(static_cast<std::size_t>(step));
    for (auto _ : state) {
        std::ifstream file(ScratchPath(), std::ios::binary);
        for (int i = 0; i < FILE_BYTES; i += step) {
            file.read(bytes.data(), step);
            benchmark::DoNotOptimize(bytes.data());
        }
    }
    CountBytes(state);
}
BENCHMARK(FstreamRead)->Arg(8)->Arg(4096);

void SystemFileWrite(benchmark::State& state)
{
    const int step = static_cast<int>(state.range(0));
    const std::vector<char> bytes(static_cast<std::size_t>(step), 'x');
    const Ptr<File> pFile = SystemFile::Construct(Value::Null);
    for (auto _ : state) {
        pFile->Open(ScratchPath().c_str(), File::MODE_WRITE);
        for (int i = 0; i < FILE_BYTES; i += step) {
            pFile->Write(bytes.data(), step);
        }
        pFile->Close();
    }
    CountBytes(state);
}
BENCHMARK(SystemFileWrite)->Arg(8)->Arg(4096);

void StdioWrite(benchmark::State& state)
{
    const std::size_t step = static_cast<std::size_t>(state.range(0));
    const std::vector<char> bytes(step, 'x');
    for (auto _ : state) {
        std::FILE* const pFile = std::fopen(ScratchPath().c_str(), "wb");
        for (std::size_t i = 0; i < FILE_BYTES; i += step) {
            if (std::fwrite(bytes.data(), 1, step, pFile) != step) {
                std::abort();
            }
        }
        std::fclose(pFile);
    }
    CountBytes(state);
}
BENCHMARK(StdioWrite)->Arg(8)->Arg(4096);

void FstreamWrite(benchmark::State& state)
{
    const int step = static_cast<int>(state.range(0));
    const std::vector<char> bytes(static_cast<std::size_t>(step), 'x');
    for (auto _ : state) {
        std::ofstream file(ScratchPath(), std::ios::binary);
        for (int i = 0; i < FILE_BYTES; i += step) {
            file.write(bytes.data(), step);
        }
    }
    CountBytes(state);
}
BENCHMARK(FstreamWrite)->Arg(8)->Arg(4096);

void MemoryFileWrite(benchmark::State& state)
{
    const int step = static_cast<int>(state.range(0));
    const std::vector<char> bytes(static_cast<std::size_t>(step), 'x');
    const Ptr<MemoryFile> pFile = MemoryFile::Construct(Value::Null);
    for (auto _ : state) {
        pFile->Open("memory", File::MODE_WRITE);
        for (int i = 0; i < FILE_BYTES; i += step) {
            pFile->Write(bytes.data(), step);
        }
    }
    CountBytes(state);
}
BENCHMARK(MemoryFileWrite)->Arg(8)->Arg(4096);

// One write and one read behind a backlog.
void IOStreamTraffic(benchmark::State& state)
{
    const std::vector<char> backlog(static_cast<std::size_t>(state.range(0)), 'x');
    const Ptr<IOStream> pStream = IOStream::Construct(Value::Null);
    pStream->Write(backlog.data(), static_cast<int>(backlog.size()));
    char packet[64] = {};
    for (auto _ : state) {
        pStream->Write(packet, sizeof(packet));
        pStream->Read(packet, sizeof(packet));
    }
}
BENCHMARK(IOStreamTraffic)->Arg(0)->Arg(16 << 20);

} // namespace
