// Graphs of any shape, saved and loaded in both formats: the loaded graphs are the same as the saved one.

#include "Support/FuzzInput.h"
#include "Support/FuzzRun.h"
#include "Support/StoredObjects.h"

#include "QBase/AsciiSerializer.h"
#include "QBase/BinarySerializer.h"
#include "QBase/MemoryFile.h"
#include "QBase/Property.h"

#include <vector>

using namespace QBase;

namespace
{

class Builder
{
public:
    explicit Builder(FuzzInput& rInput) : mrInput(rInput) {}

    Ptr<Object> Build()
    {
        AddObject();
        while (!mrInput.IsEmpty() && mObjects.size() < 60) {
            Step();
        }
        return mObjects.front();
    }

private:
    void AddObject()
    {
        switch (mrInput.TakeBelow(3)) {
        case 0:
            mObjects.push_back(FuzzList::Construct(Value::Null));
            break;
        case 1:
            mObjects.push_back(FuzzTable::Construct(Value(mrInput.TakeByte() + 1)));
            break;
        default:
            mObjects.push_back(FuzzNode::Construct(Value::Null));
            break;
        }
    }

    Object* AnyObject() { return mObjects[static_cast<std::size_t>(mrInput.TakeByte()) % mObjects.size()]; }
    Object* AnyObjectOrNull() { return mrInput.TakeByte() % 8 == 0 ? nullptr : AnyObject(); }
    String AnyText() { return mrInput.TakeText(); }

    // XML keeps no empty name.
    String AnyName()
    {
        const String text = AnyText();
        return text.empty() ? String("name") : text;
    }

    // What six decimals hold.
    float AnyFloat() { return static_cast<float>(static_cast<short>(mrInput.TakeInt())) / 64.0f; }

    Value AnyValue()
    {
        switch (mrInput.TakeBelow(14)) {
        case 0:
            return Value(mrInput.TakeByte() % 2 == 0);
        case 1:
            return Value(AnyFloat());
        case 2:
            return Value(AnyText());
        case 3:
            return Value(AnyObjectOrNull());
        case 4:
            return Value(Vector2(AnyFloat(), AnyFloat()));
        case 5:
            return Value(Vector3(AnyFloat(), AnyFloat(), AnyFloat()));
        case 6:
            return Value(Vector4(AnyFloat(), AnyFloat(), AnyFloat(), AnyFloat()));
        case 7:
            return Value(Vector2i(mrInput.TakeInt(), mrInput.TakeInt()));
        case 8:
            return Value(Vector3i(mrInput.TakeInt(), mrInput.TakeInt(), mrInput.TakeInt()));
        case 9:
            return Value(
                Vector4i(mrInput.TakeInt(), mrInput.TakeInt(), mrInput.TakeInt(), mrInput.TakeInt()));
        case 10:
            return Value(Color(static_cast<std::uint8_t>(mrInput.TakeByte()),
                               static_cast<std::uint8_t>(mrInput.TakeByte()), 1, 2));
        case 11:
            return Value(FuzzNode::EAGER);
        default:
            return Value(mrInput.TakeInt());
        }
    }

    void Step()
    {
        Object* const pObject = AnyObject();
        switch (mrInput.TakeBelow(4)) {
        case 0:
            AddObject();
            break;
        case 1: {
            const Value value = AnyValue();
            const String name = AnyName();
            if (pObject->FindProperty(name) == nullptr) {
                pObject->AddPropertyValueFromValue(name, value);
            }
            break;
        }
        case 2:
            if (FuzzNode* const pNode = dynamic_cast<FuzzNode*>(pObject)) {
                SetMember(pNode);
            }
            break;
        default:
            if (Table* const pTable = dynamic_cast<Table*>(pObject)) {
                pTable->Insert(AnyName(), AnyObjectOrNull());
            } else if (List* const pList = dynamic_cast<List*>(pObject)) {
                pList->Insert(AnyObjectOrNull());
            }
            break;
        }
    }

    void SetMember(FuzzNode* pNode)
    {
        switch (mrInput.TakeBelow(8)) {
        case 0:
            pNode->mNumber = mrInput.TakeInt();
            break;
        case 1:
            pNode->mText = AnyText();
            break;
        case 2:
            pNode->mpNext = AnyObjectOrNull();
            break;
        case 3:
            pNode->mAny = AnyValue();
            break;
        case 4:
            pNode->mNumbers.Insert(mrInput.TakeInt());
            break;
        case 5:
            pNode->mTexts.Insert(AnyText());
            break;
        case 6:
            pNode->mObjects.Insert(AnyObjectOrNull());
            break;
        default:
            pNode->mReal = AnyFloat();
            break;
        }
    }

    FuzzInput& mrInput;
    std::vector<Ptr<Object>> mObjects;
};

void SaveAndLoad(Serializer* pSerializer, Object* pRoot)
{
    const Ptr<MemoryFile> pFile = MemoryFile::Construct(Value::Null);
    FUZZ_EXPECT(pFile->Open("graph", File::MODE_READ | File::MODE_WRITE));
    FUZZ_EXPECT(pSerializer->Serialize(pRoot, pFile));
    pFile->SeekStart(0);
    const Ptr<Object> pLoaded = pSerializer->Deserialize(pFile).AsObject();
    FUZZ_EXPECT(pLoaded);
    const testing::AssertionResult same = StoredObjects::AreSameGraph(pRoot, pLoaded);
    if (!same) {
        FuzzFailure(__FILE__, __LINE__, same.message());
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t size)
{
    FuzzRun run;
    run.UndoCycles();
    run.StopAtAssertions();
    FuzzInput input(pData, size);
    const Ptr<Object> pRoot = Builder(input).Build();
    const Ptr<Serializer> pBinary = BinarySerializer::Construct(Value::Null);
    SaveAndLoad(pBinary, pRoot);
    const Ptr<Serializer> pXml = AsciiSerializer::Construct(Value::Null);
    SaveAndLoad(pXml, pRoot);
    return 0;
}
