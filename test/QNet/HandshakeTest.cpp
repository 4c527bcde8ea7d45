#include "QNet/Handshake.h"

#include "QBase/IOStream.h"
#include "QBase/Reflection.h"
#include "Support/Bytes.h"
#include "Support/CapturedMessages.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <string>
#include <utility>

using namespace QBase;
using namespace QNet;
using testing::EndsWith;
using testing::HasSubstr;
using testing::SizeIs;

namespace
{

// One end of a connection in memory.
class LoopStream : public Stream
{
public:
    LoopStream(IOStream* pIn, IOStream* pOut) : Stream(Value::Null), mpIn(pIn), mpOut(pOut) {}

    int Write(const void* pData, int count) override { return mpOut->Write(pData, count); }
    int Read(void* pData, int count) override { return mpIn->Read(pData, count); }
    int BytesAvailable() override { return mpIn->BytesAvailable(); }

private:
    Ptr<IOStream> mpIn;
    Ptr<IOStream> mpOut;
};

Ptr<IOStream> MakePipe()
{
    return IOStream::Construct(Value::Null);
}

Ptr<ObjectDiffSerializer> MakeSerializer(std::initializer_list<ClassInfoTable*> classes)
{
    const Ptr<ObjectDiffSerializer> pSerializer = ObjectDiffSerializer::Construct(Value::Null);
    for (ClassInfoTable* const pClass : classes) {
        pSerializer->RegisterType(pClass);
    }
    return pSerializer;
}

std::string TakeAll(IOStream* pPipe)
{
    std::string bytes(static_cast<std::size_t>(pPipe->BytesAvailable()), '\0');
    pPipe->Read(bytes.data(), static_cast<int>(bytes.size()));
    return bytes;
}

void Put(IOStream* pPipe, const std::string& bytes)
{
    pPipe->Write(bytes.data(), static_cast<int>(bytes.size()));
}

// One end of a handshake; the test is the other.
class HandshakeTest : public testing::Test
{
protected:
    void Begin(std::initializer_list<ClassInfoTable*> classes, Handshake::Mode mode = Handshake::COMPARE,
               int milliseconds = 600000)
    {
        mpIn = MakePipe();
        mpOut = MakePipe();
        mpSerializer = MakeSerializer(classes);
        mpHandshake = std::make_unique<Handshake>(new LoopStream(mpIn, mpOut), mpSerializer, "peer", mode,
                                                  milliseconds);
    }

    Handshake::State Receive(const std::string& bytes)
    {
        Put(mpIn, bytes);
        return mpHandshake->Update();
    }

    Ptr<IOStream> mpIn;
    Ptr<IOStream> mpOut;
    Ptr<ObjectDiffSerializer> mpSerializer;
    std::unique_ptr<Handshake> mpHandshake;
};

class Freighter : public Object
{
    QBASE_OBJECT(Freighter, Object)

public:
    int Load(float weight, const String&) { return static_cast<int>(weight); }

protected:
    explicit Freighter(const Value&) {}

private:
    float mWeight = 0;
    Array<String> mCargo;
};

QBASE_IMPLEMENT(HandshakeTests, Freighter)

void Freighter::Implement()
{
    AddFunction<&Freighter::Load>("Load");
    AddProperty<&Freighter::mWeight>("Weight");
    AddProperty<&Freighter::mCargo>("Cargo", {.mbExcluded = true});
}

// What an end sends whose only class is Freighter.
const std::string FREIGHTER = Bytes("51 4E 65 74 01 00 00 00 C0 00 00 00" // "QNet", version, size
                                    "0E 00 00 00 48 61 6E 64 73 68 61 6B 65 54 65 73 74 73" // HandshakeTests
                                    "09 00 00 00 46 72 65 69 67 68 74 65 72"                // Freighter
                                    "02 00 00 00"                                           // properties
                                    "05 00 00 00 43 61 72 67 6F 04 03"    // Cargo: String, excluded array
                                    "06 00 00 00 57 65 69 67 68 74 02 00" // Weight: float
                                    "07 00 00 00"                         // functions
                                    "09 00 00 00 43 6F 6E 73 74 72 75 63 74 01 05 01 0D" // Construct: static,
                                                                                         // Object(Value)
                                    "07 00 00 00 45 78 65 63 75 74 65 00 00 01 0D"       // Execute
                                    "0C 00 00 00 47 65 74 43 6C 61 73 73 4E 61 6D 65 00 04 00" // GetClassName
                                    "0D 00 00 00 47 65 74 4D 6F 64 75 6C 65 4E 61 6D 65 00 04 00"
                                    "11 00 00 00 47 65 74 52 65 66 65 72 65 6E 63 65 43 6F 75 6E 74 00 01 00"
                                    "04 00 00 00 4C 6F 61 64 00 01 02 02 04" // Load: int(float, String)
                                    "0E 00 00 00 52 65 6D 6F 76 65 50 72 6F 70 65 72 74 79 00 03 01 04");
const std::string AGREEMENT = Bytes("01 00 00 00 00");

std::string Replaced(std::string text, const std::string& what, const std::string& by)
{
    const std::size_t place = text.find(what);
    EXPECT_NE(place, text.npos) << what;
    return place == text.npos ? text : text.replace(place, what.size(), by);
}

// A description with its mark and size in front.
std::string WithHead(const std::string& description)
{
    std::string head = Bytes("51 4E 65 74 01 00 00 00");
    for (int shift = 0; shift < 32; shift += 8) {
        head += static_cast<char>(description.size() >> shift & 0xFF);
    }
    return head + description;
}

} // namespace

TEST_F(HandshakeTest, AnEndBeginsWithItsVersionAndItsClasses)
{
    Begin({Freighter::ClassTable()});
    EXPECT_EQ(TakeAll(mpOut), FREIGHTER);
    EXPECT_EQ(mpHandshake->GetState(), Handshake::WAITING);
}

TEST_F(HandshakeTest, EqualClassesAreAgreedToAndThatIsSaid)
{
    Begin({Freighter::ClassTable()});
    TakeAll(mpOut);
    EXPECT_EQ(Receive(FREIGHTER), Handshake::WAITING);
    EXPECT_EQ(TakeAll(mpOut), AGREEMENT);
    EXPECT_EQ(Receive(AGREEMENT), Handshake::AGREED);
}

TEST_F(HandshakeTest, BytesMayComeOneByOneAndThoseBehindAreLeft)
{
    Begin({Freighter::ClassTable()});
    const std::string bytes = FREIGHTER + AGREEMENT;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        ASSERT_EQ(mpHandshake->GetState(), Handshake::WAITING) << i;
        Receive(bytes.substr(i, 1));
    }
    EXPECT_EQ(mpHandshake->GetState(), Handshake::AGREED);
    Receive("frames");
    EXPECT_EQ(mpIn->BytesAvailable(), 6);
}

TEST_F(HandshakeTest, TheFirstDifferenceIsNamed)
{
    struct Difference
    {
        std::string mThere;
        const char* mpName;
    };
    const Difference differences[] = {
        {Replaced(FREIGHTER, "Freighter", "Freightet"),
         "class 0 is HandshakeTests.Freighter here and HandshakeTests.Freightet there"},
        {Replaced(FREIGHTER, "HandshakeTests", "HandshakeTest$"),
         "class 0 is HandshakeTests.Freighter here and HandshakeTest$.Freighter there"},
        {WithHead(""), "class 0 is HandshakeTests.Freighter here and missing there"},
        {WithHead(FREIGHTER.substr(12) + FREIGHTER.substr(12)),
         "class 1 is HandshakeTests.Freighter there and missing here"},
        {Replaced(FREIGHTER, "Cargo", "Carga"),
         "property 'Carga' of HandshakeTests.Freighter is missing here"},
        {Replaced(FREIGHTER, "Cargo", "Cargp"),
         "property 'Cargo' of HandshakeTests.Freighter is missing there"},
        {Replaced(FREIGHTER, "Weight" + Bytes("02"), "Weight" + Bytes("01")),
         "property 'Weight' of HandshakeTests.Freighter is float here and int there"},
        {Replaced(FREIGHTER, "Weight" + Bytes("02"), "Weight" + Bytes("63")),
         "property 'Weight' of HandshakeTests.Freighter is float here and type 99 there"},
        {Replaced(FREIGHTER, "Cargo" + Bytes("04 03"), "Cargo" + Bytes("04 02")),
         "property 'Cargo' of HandshakeTests.Freighter is String array, excluded here and String, excluded "
         "there"},
        {Replaced(FREIGHTER, "Cargo" + Bytes("04 03"), "Cargo" + Bytes("04 01")),
         "property 'Cargo' of HandshakeTests.Freighter is String array, excluded here and String array "
         "there"},
        {Replaced(FREIGHTER, "Load", "Lock"), "function 'Load' of HandshakeTests.Freighter is missing there"},
        {Replaced(FREIGHTER, "Load" + Bytes("00 01 02 02 04"), "Load" + Bytes("00 01 02 04 02")),
         "function 'Load' of HandshakeTests.Freighter is int(float, String) here and int(String, float) "
         "there"},
        {Replaced(FREIGHTER, "Load" + Bytes("00 01"), "Load" + Bytes("01 00")),
         "function 'Load' of HandshakeTests.Freighter is int(float, String) here and static void(float, "
         "String) there"},
    };
    for (const Difference& difference : differences) {
        CapturedMessages messages;
        Begin({Freighter::ClassTable()});
        TakeAll(mpOut);
        EXPECT_EQ(Receive(difference.mThere), Handshake::REFUSED);
        EXPECT_THAT(messages.TakeError(),
                    EndsWith(std::string("Failed to agree with 'peer' - ") + difference.mpName));
        const std::string refusal = TakeAll(mpOut);
        EXPECT_EQ(refusal.substr(0, 1), Bytes("00"));
        EXPECT_EQ(refusal.substr(5), difference.mpName);
    }
}

TEST_F(HandshakeTest, BothEndsNameTheSameDifference)
{
    CapturedMessages messages;
    const Ptr<IOStream> pThere = MakePipe();
    const Ptr<IOStream> pBack = MakePipe();
    Handshake first(new LoopStream(pBack, pThere), MakeSerializer({Freighter::ClassTable()}), "second");
    Handshake second(new LoopStream(pThere, pBack), MakeSerializer({Object::ClassTable()}), "first");
    EXPECT_EQ(first.Update(), Handshake::REFUSED);
    EXPECT_EQ(second.Update(), Handshake::REFUSED);
    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to agree with 'second' - class 0 is "
                                               "HandshakeTests.Freighter here and QBase.Object there"));
    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to agree with 'first' - class 0 is "
                                               "QBase.Object here and HandshakeTests.Freighter there"));
}

TEST_F(HandshakeTest, TheOrderOfTheClassesCounts)
{
    CapturedMessages messages;
    const Ptr<IOStream> pThere = MakePipe();
    const Ptr<IOStream> pBack = MakePipe();
    Handshake first(new LoopStream(pBack, pThere),
                    MakeSerializer({Object::ClassTable(), Freighter::ClassTable()}), "second");
    Handshake second(new LoopStream(pThere, pBack),
                     MakeSerializer({Freighter::ClassTable(), Object::ClassTable()}), "first");
    EXPECT_EQ(first.Update(), Handshake::REFUSED);
    EXPECT_THAT(messages.TakeError(), HasSubstr("class 0 is QBase.Object here"));
}

TEST_F(HandshakeTest, WhatIsNoHandshakeIsRefused)
{
    struct Wrong
    {
        std::string mBytes;
        const char* mpReason;
    };
    const Wrong wrongs[] = {
        {"GET / HTTP/1.1\r\n\r\n", "it speaks another protocol"},
        {Bytes("51 4E 65 74 02 00 00 00 00 00 00 00"), "protocol version is 1 here and 2 there"},
        {Bytes("51 4E 65 74 FF FF FF FF 00 00 00 00"), "protocol version is 1 here and 4294967295 there"},
        {Bytes("51 4E 65 74 01 00 00 00 01 00 40 00"),
         "its classes take 4194305 bytes, the limit is 4194304"},
        {Bytes("51 4E 65 74 01 00 00 00 FF FF FF FF"),
         "its classes take 4294967295 bytes, the limit is 4194304"},
        {WithHead(Bytes("FF FF FF FF 41 42")), "the description of its classes is damaged"},
        {WithHead(FREIGHTER.substr(12) + "x"), "the description of its classes is damaged"},
        {WithHead(Bytes("01 00 00 00 41 01 00 00 00 42 FF FF FF 7F 00 00 00 00")),
         "the description of its classes is damaged"},
        {FREIGHTER + Bytes("02 00 00 00 00"), "its answer is none"},
        {FREIGHTER + Bytes("01 01 00 00 00"), "its answer is none"},
        {FREIGHTER + Bytes("00 01 10 00 00"), "its answer is none"},
    };
    for (const Wrong& wrong : wrongs) {
        CapturedMessages messages;
        Begin({Freighter::ClassTable()});
        EXPECT_EQ(Receive(wrong.mBytes), Handshake::REFUSED) << wrong.mpReason;
        EXPECT_THAT(messages.TakeError(),
                    EndsWith(std::string("Failed to agree with 'peer' - ") + wrong.mpReason));
    }
}

TEST_F(HandshakeTest, ADescriptionCutAnywhereIsDamaged)
{
    for (std::size_t size = 1; size < FREIGHTER.size() - 12; ++size) {
        CapturedMessages messages;
        Begin({Freighter::ClassTable()});
        ASSERT_EQ(Receive(WithHead(FREIGHTER.substr(12, size))), Handshake::REFUSED) << size;
        EXPECT_THAT(messages.TakeError(), EndsWith("- the description of its classes is damaged"));
    }
}

TEST_F(HandshakeTest, ARefusalOfTheOtherEndIsReportedWithItsReason)
{
    CapturedMessages messages;
    Begin({Freighter::ClassTable()});
    EXPECT_EQ(Receive(FREIGHTER + Bytes("00 05 00 00 00")), Handshake::WAITING);
    EXPECT_EQ(Receive("no\x1B"
                      "at"),
              Handshake::REFUSED);
    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to agree with 'peer' - it says: no?at"));
}

TEST_F(HandshakeTest, AnEndThatSaysTooLittleIsRefusedAtTheDeadline)
{
    for (const std::size_t size : {std::size_t(0), std::size_t(11), FREIGHTER.size() - 1, FREIGHTER.size()}) {
        CapturedMessages messages;
        Begin({Freighter::ClassTable()}, Handshake::COMPARE, 0);
        EXPECT_EQ(Receive(FREIGHTER.substr(0, size)), Handshake::REFUSED);
        EXPECT_THAT(messages.TakeError(), EndsWith("- there was no agreement within 0 ms"));
    }
}

TEST_F(HandshakeTest, WhoAdoptsSaysNothingUntilTheClassesAreThere)
{
    Begin({}, Handshake::ADOPT);
    EXPECT_EQ(mpHandshake->Update(), Handshake::WAITING);
    EXPECT_EQ(TakeAll(mpOut), "");
    EXPECT_EQ(Receive(FREIGHTER), Handshake::CLASSES_WANTED);
    const auto classes = mpHandshake->GetPeerClasses();
    ASSERT_EQ(classes.size(), 1u);
    EXPECT_EQ(classes[0], std::pair(std::string("HandshakeTests"), std::string("Freighter")));
    EXPECT_EQ(mpHandshake->Update(), Handshake::CLASSES_WANTED);

    mpSerializer->RegisterType(Freighter::ClassTable());
    mpHandshake->Proceed();
    EXPECT_EQ(TakeAll(mpOut), FREIGHTER + AGREEMENT);
    EXPECT_EQ(Receive(AGREEMENT), Handshake::AGREED);
}

TEST_F(HandshakeTest, WhoCannotAdoptSaysSo)
{
    CapturedMessages messages;
    Begin({}, Handshake::ADOPT);
    EXPECT_EQ(Receive(FREIGHTER), Handshake::CLASSES_WANTED);
    mpHandshake->Refuse("nobody knows them");
    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to agree with 'peer' - nobody knows them"));
    EXPECT_EQ(TakeAll(mpOut), WithHead("") + Bytes("00 11 00 00 00") + "nobody knows them");
}

TEST_F(HandshakeTest, ALongReasonIsCutToWhatTheOtherEndTakes)
{
    CapturedMessages messages;
    Begin({});
    TakeAll(mpOut);
    mpHandshake->Refuse(std::string(5000, 'r'));
    EXPECT_THAT(TakeAll(mpOut), SizeIs(5 + Handshake::LONGEST_REASON));
    messages.TakeError();
}

TEST_F(HandshakeTest, BytesChangedAtRandomNeverDoHarm)
{
    CapturedMessages messages;
    std::uint32_t state = 1;
    const auto random = [&state](std::size_t limit) {
        state = state * 1664525u + 1013904223u;
        return (state >> 8) % limit;
    };
    int numAgreed = 0;
    for (int i = 0; i < 3000; ++i) {
        std::string bytes = FREIGHTER + AGREEMENT;
        for (std::size_t numChanges = random(3); numChanges > 0; --numChanges) {
            bytes[random(bytes.size())] = static_cast<char>(random(256));
        }
        Begin({Freighter::ClassTable()});
        numAgreed += Receive(bytes) == Handshake::AGREED ? 1 : 0;
        messages.TakeAll();
    }
    EXPECT_GE(numAgreed, 500); // a third is left alone
    EXPECT_LT(numAgreed, 1500);
}
