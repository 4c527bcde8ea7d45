// Handshake is what two programs say to each other before frames flow: the version of the protocol and the
// registered classes, with the properties and functions of each. A difference is named and ends it on both
// sides, because type ids are only positions in the list of classes.
//
//     Handshake handshake(pStream, pSerializer, "example.net:4711");
//     while (handshake.Update() == Handshake::WAITING) // once per frame
//         ...
//     handshake.GetState();                            // AGREED: the stream is ready for frames
//
// A program that has no classes of its own mind can take over those of the other: with ADOPT it says nothing
// until the other's names are there, and goes on when they are registered.
//
// See docs/Formats.md for the bytes. They may come from anybody.
//
// Threads: driven by one thread at a time, with its stream and serializer.

#pragma once

#include "QNet/Export.h"

#include "QBase/ObjectDiffSerializer.h"
#include "QBase/Stream.h"

#include <chrono>
#include <cstddef>
#include <string>
#include <utility>
#include <vector>

namespace QNet
{

class QNET_API Handshake
{
public:
    /// The version of the handshake.
    static constexpr int VERSION = 1;
    static constexpr int LONGEST_DESCRIPTION = 4 * 1024 * 1024; // bytes
    static constexpr int LONGEST_REASON = 4096;                 // bytes

    /// What to do about the classes of the other side.
    enum Mode
    {
        COMPARE,
        ADOPT
    };

    /// How far it is.
    enum State
    {
        WAITING,        // for the other side
        CLASSES_WANTED, // ADOPT: register the classes of GetPeerClasses, then Proceed
        AGREED,
        REFUSED // by either side; the reason was reported
    };

    /// Begins. Holds the stream and the serializer. `address` stands for the peer in reports.
    Handshake(QBase::Stream* pStream, QBase::ObjectDiffSerializer* pSerializer, std::string address,
              Mode mode = COMPARE, int milliseconds = 10000);

    /// Goes on with what arrived.
    State Update();
    State GetState() const { return mState; }

    /// Module and name of each class that the peer has registered, in their order.
    std::vector<std::pair<std::string, std::string>> GetPeerClasses() const;

    /// The classes that were wanted are registered.
    void Proceed();

    /// Tells the peer why not, and reports it here.
    void Refuse(const std::string& reason);

    /// Reports why there will be no more of it, to nobody but the host.
    void Abandon(const std::string& reason);

private:
    enum Step
    {
        HEAD,
        DESCRIPTION,
        ANSWER,
        REASON
    };

    bool Take(std::size_t size);
    void ReadStep();
    void ReadHead();
    void ReadDescription();
    void ReadAnswer();
    void ReadReason();
    void SendDescription();
    void SendAnswer(bool bAgreed, const std::string& reason);
    void Compare();

    QBase::Ptr<QBase::Stream> mpStream;
    QBase::Ptr<QBase::ObjectDiffSerializer> mpSerializer;
    std::string mAddress;
    Mode mMode;
    State mState = WAITING;
    Step mStep = HEAD;
    std::chrono::steady_clock::time_point mDeadline;
    int mTime;                    // milliseconds until the deadline
    std::size_t mSize;            // bytes that the present step reads
    std::string mBytes;           // those bytes
    std::string mPeerDescription; // until it is compared
    bool mbDescribed = false;     // our classes were sent
};

} // namespace QNet
