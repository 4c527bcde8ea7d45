#include "QNet/Handshake.h"

#include "QNet/ClassDescription.h"

#include "QBase/Error.h"

#include <string_view>

using namespace QBase;

namespace QNet
{

namespace
{

constexpr std::string_view MARK = "QNet";
constexpr std::size_t HEAD_SIZE = 12;  // mark, version, size of the description
constexpr std::size_t ANSWER_SIZE = 5; // agreed or not, size of the reason
constexpr char AGREEMENT = 1;
constexpr char REFUSAL = 0;

// What strangers say goes to logs and terminals.
std::string ToPrintable(std::string text)
{
    for (char& rCharacter : text) {
        if (static_cast<unsigned char>(rCharacter) < ' ' || rCharacter == '\x7F') {
            rCharacter = '?';
        }
    }
    return text;
}

} // namespace

Handshake::Handshake(Stream* pStream, ObjectDiffSerializer* pSerializer, std::string address, Mode mode,
                     int milliseconds)
    : mpStream(pStream), mpSerializer(pSerializer), mAddress(std::move(address)), mMode(mode),
      mDeadline(std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds)),
      mTime(milliseconds), mSize(HEAD_SIZE)
{
    if (mMode == COMPARE) {
        SendDescription();
    }
}

Handshake::State Handshake::Update()
{
    while (mState == WAITING && Take(mSize)) {
        ReadStep();
    }
    if (mState == WAITING && std::chrono::steady_clock::now() >= mDeadline) {
        Refuse("there was no agreement within " + std::to_string(mTime) + " ms");
    }
    return mState;
}

void Handshake::ReadStep()
{
    switch (mStep) {
    case HEAD:
        ReadHead();
        break;
    case DESCRIPTION:
        ReadDescription();
        break;
    case ANSWER:
        ReadAnswer();
        break;
    case REASON:
        ReadReason();
        break;
    }
}

std::vector<std::pair<std::string, std::string>> Handshake::GetPeerClasses() const
{
    std::vector<ClassDescription> classes;
    Decode(mPeerDescription, classes);
    std::vector<std::pair<std::string, std::string>> names;
    for (const ClassDescription& description : classes) {
        names.emplace_back(ToPrintable(description.mModule), ToPrintable(description.mName));
    }
    return names;
}

void Handshake::Proceed()
{
    if (mState == CLASSES_WANTED) {
        mState = WAITING;
        SendDescription();
        Compare();
    }
}

void Handshake::Refuse(const std::string& reason)
{
    if (mState != AGREED && mState != REFUSED) {
        if (!mbDescribed) {
            SendDescription();
        }
        SendAnswer(false, reason);
        Abandon(reason);
    }
}

void Handshake::Abandon(const std::string& reason)
{
    mState = REFUSED;
    Error(QBASE_HERE, "Failed to agree with '%s' - %s", mAddress.c_str(), ToPrintable(reason).c_str());
}

// The next bytes to mBytes, when all of them are there.
bool Handshake::Take(std::size_t size)
{
    const int available = mpStream->BytesAvailable();
    if (available < 0 || static_cast<std::size_t>(available) < size) {
        return false;
    }
    mBytes.assign(size, '\0');
    return size == 0 || mpStream->Read(mBytes.data(), static_cast<int>(size)) == static_cast<int>(size);
}

void Handshake::ReadHead()
{
    if (std::string_view(mBytes).substr(0, MARK.size()) != MARK) {
        Refuse("it speaks another protocol");
        return;
    }
    const unsigned version = LoadInt(mBytes.data() + MARK.size());
    if (version != VERSION) {
        Refuse("protocol version is " + std::to_string(VERSION) + " here and " + std::to_string(version) +
               " there");
        return;
    }
    mSize = LoadInt(mBytes.data() + MARK.size() + 4);
    if (mSize > LONGEST_DESCRIPTION) {
        Refuse("its classes take " + std::to_string(mSize) + " bytes, the limit is " +
               std::to_string(LONGEST_DESCRIPTION));
        return;
    }
    mStep = DESCRIPTION;
}

void Handshake::ReadDescription()
{
    mPeerDescription = mBytes;
    mStep = ANSWER;
    mSize = ANSWER_SIZE;
    std::vector<ClassDescription> classes;
    if (!Decode(mPeerDescription, classes)) {
        Refuse("the description of its classes is damaged");
    } else if (mMode == ADOPT) {
        mState = CLASSES_WANTED;
    } else {
        Compare();
    }
}

void Handshake::Compare()
{
    std::vector<ClassDescription> there;
    Decode(mPeerDescription, there);
    mPeerDescription.clear();
    const std::string difference = FindDifference(Describe(mpSerializer->GetRegisteredTypes()), there);
    if (!difference.empty()) {
        Refuse(difference);
        return;
    }
    SendAnswer(true, {});
}

void Handshake::ReadAnswer()
{
    mSize = LoadInt(mBytes.data() + 1);
    if (mBytes[0] == AGREEMENT && mSize == 0) {
        mState = AGREED;
    } else if (mBytes[0] == REFUSAL && mSize <= LONGEST_REASON) {
        mStep = REASON;
    } else {
        Refuse("its answer is none");
    }
}

void Handshake::ReadReason()
{
    Abandon("it says: " + mBytes);
}

void Handshake::SendDescription()
{
    mbDescribed = true;
    const std::string description = Encode(Describe(mpSerializer->GetRegisteredTypes()));
    std::string bytes(MARK);
    AppendInt(bytes, VERSION);
    AppendInt(bytes, static_cast<unsigned>(description.size()));
    bytes += description;
    mpStream->Write(bytes.data(), static_cast<int>(bytes.size()));
}

void Handshake::SendAnswer(bool bAgreed, const std::string& reason)
{
    const std::string shortened = reason.substr(0, LONGEST_REASON);
    std::string bytes(1, bAgreed ? AGREEMENT : REFUSAL);
    AppendInt(bytes, static_cast<unsigned>(shortened.size()));
    bytes += shortened;
    mpStream->Write(bytes.data(), static_cast<int>(bytes.size()));
}

} // namespace QNet
