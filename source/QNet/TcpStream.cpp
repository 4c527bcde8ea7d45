#include "QNet/TcpStream.h"

#include "QNet/Connection.h"
#include "QNet/NetworkThread.h"

#include "QBase/Error.h"
#include "QBase/Reflection.h"

#include <algorithm>
#include <limits>
#include <string>
#include <utility>

using namespace QBase;

namespace QNet
{

namespace
{

constexpr int FIRST_CONNECT_TIME = 5000;
constexpr int FIRST_STALL_TIME = 10000;
constexpr int FIRST_WRITE_LIMIT = 256 * 1024 * 1024;
constexpr int HIGHEST_PORT = 65535;

} // namespace

QBASE_IMPLEMENT(QNet, TcpStream)

void TcpStream::Implement()
{
    Describe("A stream of bytes to another program over TCP");
    SetActsOutside();
    AddEnum<State>("State", {{"IDLE", IDLE}, {"CONNECTING", CONNECTING}, {"OPEN", OPEN}, {"CLOSED", CLOSED}});
    AddFunction<&TcpStream::Connect>("Connect");
    AddFunction<&TcpStream::GetStateNumber>("GetState");
    AddFunction<&TcpStream::Close>("Close");
    AddFunction<&TcpStream::Flush>("Flush");
    AddFunction<&TcpStream::BeginMessage>("BeginMessage");
    AddProperty<&TcpStream::GetAddress>("Address");
    AddProperty<&TcpStream::IsTrusted, &TcpStream::SetTrusted>("Trusted", {.mbExcluded = true});
    AddProperty<&TcpStream::GetConnectTime, &TcpStream::SetConnectTime>("ConnectTime", {.mbExcluded = true});
    AddProperty<&TcpStream::GetStallTime, &TcpStream::SetStallTime>("StallTime", {.mbExcluded = true});
    AddProperty<&TcpStream::GetWriteLimit, &TcpStream::SetWriteLimit>("WriteLimit", {.mbExcluded = true});
}

TcpStream::TcpStream(const Value& value)
    : Stream(value), mNumBytesWritten(0), mNumBytesRead(0), mConnectTime(FIRST_CONNECT_TIME),
      mStallTime(FIRST_STALL_TIME), mWriteLimit(FIRST_WRITE_LIMIT), mbTrusted(true), mbClosed(false)
{}

TcpStream::TcpStream(const TcpStream& other)
    : Stream(other), mNumBytesWritten(0), mNumBytesRead(0), mConnectTime(other.mConnectTime),
      mStallTime(other.mStallTime), mWriteLimit(other.mWriteLimit), mbTrusted(other.mbTrusted),
      mbClosed(false)
{}

TcpStream& TcpStream::operator=(const TcpStream& other)
{
    mConnectTime = other.mConnectTime;
    mWriteLimit = other.mWriteLimit;
    mbTrusted = other.mbTrusted;
    SetStallTime(other.mStallTime);
    return *this;
}

TcpStream::~TcpStream()
{
    if (mpConnection != nullptr) {
        mpConnection->Close();
    }
}

bool TcpStream::Connect(const String& host, int port)
{
    const char* pTrouble = nullptr;
    if (mpConnection != nullptr) {
        pTrouble = "the stream was connected already";
    } else if (port <= 0 || port > HIGHEST_PORT) {
        pTrouble = "that is no port";
    } else if (host.size() == 0) {
        pTrouble = "the host has no name";
    }
    std::string trouble;
    std::shared_ptr<NetworkThread> pNetwork;
    if (pTrouble == nullptr) {
        pNetwork = NetworkThread::Join(trouble);
        pTrouble = trouble.c_str();
    }
    if (pNetwork == nullptr) {
        Error(QBASE_HERE, "Failed to connect to '%s:%d' - %s", host.c_str(), port, pTrouble);
        return false;
    }
    mpConnection = std::make_shared<Connection>(std::move(pNetwork));
    mpConnection->SetStallTime(mStallTime);
    mpConnection->Connect(host.c_str(), port, mConnectTime);
    return true;
}

void TcpStream::Adopt(std::shared_ptr<Connection> pConnection)
{
    mpConnection = std::move(pConnection);
    mpConnection->SetStallTime(mStallTime);
    mpConnection->Start();
}

TcpStream::State TcpStream::GetState()
{
    if (mpConnection == nullptr) {
        return IDLE;
    }
    ReportTrouble();
    if (mbClosed) {
        return CLOSED;
    }
    switch (mpConnection->GetState()) {
    case Connection::State::CONNECTING:
        return CONNECTING;
    case Connection::State::OPEN:
        return OPEN;
    default:
        return CLOSED;
    }
}

void TcpStream::Close()
{
    if (mpConnection != nullptr) {
        mpConnection->Close();
        mbClosed = true;
    }
}

bool TcpStream::Flush(int milliseconds)
{
    return mpConnection != nullptr && mpConnection->Flush(milliseconds);
}

int TcpStream::Write(const void* pData, int count)
{
    if (count < 0) {
        Error(QBASE_HERE, "Failed to write to '%s' - invalid count %d", GetAddress().c_str(), count);
        return 0;
    }
    if (mpConnection == nullptr || mbClosed) {
        Error(QBASE_HERE, "Failed to write to '%s' - the stream is not connected", GetAddress().c_str());
        return 0;
    }
    const std::size_t size = static_cast<std::size_t>(count);
    const bool bWasOver = GetState() == CLOSED;
    if (bWasOver || mpConnection->Write(pData, size, static_cast<std::size_t>(std::max(mWriteLimit, 0)))) {
        mNumBytesWritten += count;
        return count;
    }
    return ReportTrouble() ? 0 : count; // nothing to report: the peer left this very moment
}

void TcpStream::BeginMessage()
{
    if (mpConnection != nullptr) {
        mpConnection->BeginMessage();
    }
}

int TcpStream::Read(void* pData, int count)
{
    const bool bReadable = mpConnection != nullptr && !mbClosed;
    if (count == 0 ||
        (count > 0 && bReadable && mpConnection->Read(pData, static_cast<std::size_t>(count)))) {
        mNumBytesRead += count;
        return count;
    }
    Error(QBASE_HERE, "Failed to read from '%s' - out of bounds trying to read %d/%d bytes",
          GetAddress().c_str(), count, BytesAvailable());
    return 0;
}

int TcpStream::BytesAvailable()
{
    if (mpConnection == nullptr || mbClosed) {
        return 0;
    }
    ReportTrouble();
    constexpr std::size_t most = static_cast<std::size_t>(std::numeric_limits<int>::max());
    return static_cast<int>(std::min(mpConnection->GetNumAvailable(), most));
}

String TcpStream::GetAddress() const
{
    return mpConnection != nullptr ? String(mpConnection->GetAddress().c_str()) : String::Null;
}

void TcpStream::SetStallTime(int milliseconds)
{
    mStallTime = milliseconds;
    if (mpConnection != nullptr) {
        mpConnection->SetStallTime(milliseconds);
    }
}

std::int64_t TcpStream::GetNumBytesWaiting() const
{
    return mpConnection != nullptr ? static_cast<std::int64_t>(mpConnection->GetNumWaiting()) : 0;
}

bool TcpStream::ReportTrouble()
{
    const Connection::Trouble trouble = mpConnection->TakeTrouble();
    if (trouble.mText.empty()) {
        return false;
    }
    if (trouble.mbSevere) {
        Error(QBASE_HERE, "%s", trouble.mText.c_str());
    } else {
        Info("WARNING: %s", trouble.mText.c_str());
    }
    return true;
}

} // namespace QNet
