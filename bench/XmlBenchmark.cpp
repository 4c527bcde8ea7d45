// Object graphs as XML.

#include "PlainModel.h"
#include "SerializerModel.h"

#include "QBase/AsciiSerializer.h"

#include <tinyxml2.h>

#if QBASE_HAS_SERIALIZATION
#    include "Peers/BoostModel.h"

#    include <boost/archive/xml_iarchive.hpp>
#    include <boost/archive/xml_oarchive.hpp>
#endif
#if QBASE_HAS_CEREAL
#    include "Peers/CerealModel.h"

#    include <cereal/archives/xml.hpp>
#endif
#if QBASE_HAS_PUGIXML
#    include <pugixml.hpp>
#endif

#include <charconv>
#include <cstring>
#include <istream>
#include <ostream>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace Bench
{
namespace
{

using QBaseXml = QBaseFormat<QBase::AsciiSerializer>;

#if QBASE_HAS_SERIALIZATION
class BoostXml
{
public:
    explicit BoostXml(std::int64_t size) : mpTree(GetPlainTree<PlainNode>(size)) {}

    std::size_t Save()
    {
        BlockBuffer buffer(0);
        std::ostream stream(&buffer);
        {
            boost::archive::xml_oarchive archive(stream);
            archive << boost::serialization::make_nvp("Root", mpTree);
        }
        return buffer.GetWrittenSize();
    }
    PlainNode* Load(std::size_t size)
    {
        BlockBuffer buffer(size);
        std::istream stream(&buffer);
        boost::archive::xml_iarchive archive(stream);
        PlainNode* pRoot = nullptr;
        archive >> boost::serialization::make_nvp("Root", pRoot);
        return pRoot;
    }
    void Destroy(PlainNode*& rpRoot) { DeletePlainTree(rpRoot); }

private:
    PlainNode* mpTree;
};
#endif

#if QBASE_HAS_CEREAL
class CerealXml
{
public:
    explicit CerealXml(std::int64_t size) : mpTree(GetSharedTree(size)) {}

    std::size_t Save()
    {
        BlockBuffer buffer(0);
        std::ostream stream(&buffer);
        {
            cereal::XMLOutputArchive archive(stream);
            archive(cereal::make_nvp("Root", mpTree));
        }
        return buffer.GetWrittenSize();
    }
    std::shared_ptr<SharedNode> Load(std::size_t size)
    {
        BlockBuffer buffer(size);
        std::istream stream(&buffer);
        cereal::XMLInputArchive archive(stream);
        std::shared_ptr<SharedNode> pRoot;
        archive(cereal::make_nvp("Root", pRoot));
        return pRoot;
    }
    void Destroy(std::shared_ptr<SharedNode>& rpRoot) { rpRoot = nullptr; }

private:
    const std::shared_ptr<SharedNode>& mpTree;
};
#endif

#if QBASE_HAS_PUGIXML
// What a user writes who knows the classes: an element per node with an attribute per scalar, the numbers of
// what it refers to, and its children inside unless they stand elsewhere already.
class PugixmlByHand
{
public:
    explicit PugixmlByHand(std::int64_t size) : mpTree(GetPlainTree<PlainNode>(size)) {}

    std::size_t Save()
    {
        pugi::xml_document document;
        mIds.clear();
        mSharedIds.clear();
        Append(document, *mpTree);
        Writer writer;
        document.save(writer, " ");
        return writer.mSize;
    }

    PlainNode* Load(std::size_t size)
    {
        pugi::xml_document document;
        if (!document.load_buffer(TheBlock(), size)) {
            return nullptr;
        }
        mNodes.clear();
        mShared.clear();
        return Read(document.first_child());
    }

    void Destroy(PlainNode*& rpRoot) { DeletePlainTree(rpRoot); }

private:
    struct Writer : pugi::xml_writer
    {
        void write(const void* pData, std::size_t size) override
        {
            std::memcpy(TheBlock() + mSize, pData, size);
            mSize += size;
        }
        std::size_t mSize = 0;
    };

    void Append(pugi::xml_node parent, const PlainNode& node)
    {
        const auto [found, bNew] = mIds.try_emplace(&node, static_cast<int>(mIds.size()));
        pugi::xml_node element = parent.append_child(bNew ? "Node" : "NodeReference");
        element.append_attribute("id").set_value(found->second);
        if (!bNew) {
            return;
        }
        char place[64];
        std::snprintf(place, sizeof(place), "%.9g %.9g %.9g", static_cast<double>(node.mPlace.mX),
                      static_cast<double>(node.mPlace.mY), static_cast<double>(node.mPlace.mZ));
        char tint[32];
        std::snprintf(tint, sizeof(tint), "%d %d %d %d", node.mTint.mRed, node.mTint.mGreen, node.mTint.mBlue,
                      node.mTint.mAlpha);
        element.append_attribute("Id").set_value(node.mId);
        element.append_attribute("Mass").set_value(node.mMass);
        element.append_attribute("Visible").set_value(node.mbVisible);
        element.append_attribute("Label").set_value(node.mLabel.c_str());
        element.append_attribute("Place").set_value(place);
        element.append_attribute("Tint").set_value(tint);
        element.append_attribute("Shared").set_value(
            mSharedIds.try_emplace(node.mpShared, static_cast<int>(mSharedIds.size())).first->second);
        for (const PlainNode* const pChild : node.mChildren) {
            Append(element, *pChild);
        }
    }

    PlainNode* Read(pugi::xml_node element)
    {
        PlainNode*& rpNode = mNodes[element.attribute("id").as_int()];
        if (rpNode != nullptr || std::strcmp(element.name(), "Node") != 0) {
            return rpNode;
        }
        PlainNode* const pNode = rpNode = new PlainNode;
        pNode->mId = element.attribute("Id").as_int();
        pNode->mMass = element.attribute("Mass").as_float();
        pNode->mbVisible = element.attribute("Visible").as_bool();
        pNode->mLabel = element.attribute("Label").value();
        std::sscanf(element.attribute("Place").value(), "%f %f %f", &pNode->mPlace.mX, &pNode->mPlace.mY,
                    &pNode->mPlace.mZ);
        std::sscanf(element.attribute("Tint").value(), "%hhu %hhu %hhu %hhu", &pNode->mTint.mRed,
                    &pNode->mTint.mGreen, &pNode->mTint.mBlue, &pNode->mTint.mAlpha);
        PlainShared*& rpShared = mShared[element.attribute("Shared").as_int()];
        if (rpShared == nullptr) {
            rpShared = new PlainShared;
        }
        pNode->mpShared = rpShared;
        for (const pugi::xml_node child : element.children()) {
            pNode->mChildren.push_back(Read(child));
        }
        return pNode;
    }

    PlainNode* mpTree;
    std::unordered_map<const PlainNode*, int> mIds;
    std::unordered_map<const PlainShared*, int> mSharedIds;
    std::unordered_map<int, PlainNode*> mNodes;
    std::unordered_map<int, PlainShared*> mShared;
};
#endif

// --- Bare libraries, which build no objects: the document that QBase writes is printed or parsed ---

template <typename Document>
class BareDocument
{
public:
    explicit BareDocument(std::int64_t size) : mQBase(size)
    {
        const std::size_t numBytes = mQBase.Save();
        mDocument.Parse(TheBlock(), numBytes);
    }

    std::size_t Save() { return mDocument.Print(); }
    std::unique_ptr<Document> Load(std::size_t size)
    {
        auto pDocument = std::make_unique<Document>();
        pDocument->Parse(TheBlock(), size);
        return pDocument;
    }
    void Destroy(std::unique_ptr<Document>& rpDocument) { rpDocument = nullptr; }

private:
    QBaseXml mQBase;
    Document mDocument;
};

class TinyXml2Document
{
public:
    void Parse(const char* pBytes, std::size_t size) { mDocument.Parse(pBytes, size); }
    std::size_t Print()
    {
        tinyxml2::XMLPrinter printer;
        mDocument.Print(&printer);
        std::memcpy(TheBlock(), printer.CStr(), printer.CStrSize() - 1);
        return printer.CStrSize() - 1;
    }

private:
    tinyxml2::XMLDocument mDocument;
};

#if QBASE_HAS_PUGIXML
class PugixmlDocument
{
public:
    void Parse(const char* pBytes, std::size_t size) { mDocument.load_buffer(pBytes, size); }
    std::size_t Print()
    {
        struct Writer : pugi::xml_writer
        {
            void write(const void* pData, std::size_t size) override
            {
                std::memcpy(TheBlock() + mSize, pData, size);
                mSize += size;
            }
            std::size_t mSize = 0;
        } writer;
        mDocument.save(writer, "    ");
        return writer.mSize;
    }

private:
    pugi::xml_document mDocument;
};
#endif

// Texts and numbers straight into the block and out of it, for this one kind of node; nothing is checked, and
// only what its own Save writes is understood.
class Bound
{
public:
    explicit Bound(std::int64_t size) : mpTree(GetPlainTree<PlainNode>(size)) {}

    std::size_t Save()
    {
        mpEnd = TheBlock();
        Write(*mpTree);
        return static_cast<std::size_t>(mpEnd - TheBlock());
    }

    PlainNode* Load(std::size_t)
    {
        mpNext = TheBlock();
        mShared.assign(64, nullptr);
        return Read();
    }

    void Destroy(PlainNode*& rpRoot) { DeletePlainTree(rpRoot); }

private:
    void Put(std::string_view text)
    {
        std::memcpy(mpEnd, text.data(), text.size());
        mpEnd += text.size();
    }

    template <typename Number>
    void Put(std::string_view text, Number number)
    {
        Put(text);
        mpEnd = std::to_chars(mpEnd, mpEnd + 32, number).ptr;
    }

    void Write(const PlainNode& node)
    {
        Put("<Node Id=\"", node.mId);
        Put("\" Mass=\"", node.mMass);
        Put(node.mbVisible ? "\" Visible=\"1\" Label=\"" : "\" Visible=\"0\" Label=\"");
        Put(node.mLabel);
        Put("\" Place=\"", node.mPlace.mX);
        Put(" ", node.mPlace.mY);
        Put(" ", node.mPlace.mZ);
        Put("\" Tint=\"", static_cast<int>(node.mTint.mRed));
        Put(" ", static_cast<int>(node.mTint.mGreen));
        Put(" ", static_cast<int>(node.mTint.mBlue));
        Put(" ", static_cast<int>(node.mTint.mAlpha));
        Put("\" Shared=\"", node.mpShared->mIndex);
        Put("\">\n");
        for (const PlainNode* const pChild : node.mChildren) {
            Write(*pChild);
        }
        Put("</Node>\n");
    }

    // Goes on behind the text.
    void Skip(std::string_view text) { mpNext += text.size(); }

    template <typename Number>
    Number Get(std::string_view text)
    {
        Skip(text);
        Number number{};
        mpNext = std::from_chars(mpNext, mpNext + 32, number).ptr;
        return number;
    }

    std::uint8_t GetByte(std::string_view text) { return static_cast<std::uint8_t>(Get<int>(text)); }

    PlainNode* Read()
    {
        PlainNode* const pNode = new PlainNode;
        pNode->mId = Get<int>("<Node Id=\"");
        pNode->mMass = Get<float>("\" Mass=\"");
        pNode->mbVisible = Get<int>("\" Visible=\"") != 0;
        Skip("\" Label=\"");
        const char* const pEnd = static_cast<const char*>(std::memchr(mpNext, '"', 1000));
        pNode->mLabel.assign(mpNext, pEnd);
        mpNext = pEnd;
        pNode->mPlace = {Get<float>("\" Place=\""), Get<float>(" "), Get<float>(" ")};
        pNode->mTint = {GetByte("\" Tint=\""), GetByte(" "), GetByte(" "), GetByte(" ")};
        PlainShared*& rpShared = mShared[static_cast<std::size_t>(Get<int>("\" Shared=\""))];
        if (rpShared == nullptr) {
            rpShared = new PlainShared;
        }
        pNode->mpShared = rpShared;
        Skip("\">\n");
        while (mpNext[1] != '/') {
            pNode->mChildren.push_back(Read());
        }
        Skip("</Node>\n");
        return pNode;
    }

    PlainNode* mpTree;
    char* mpEnd = nullptr;
    const char* mpNext = nullptr;
    std::vector<PlainShared*> mShared;
};

template <typename Participant>
void Enter(const char* pParticipant)
{
    const Area area("xml");
    constexpr std::int64_t SIZE = 100000;
    area.Enter("save 100,000 objects", pParticipant, Save<Participant>, SIZE);
    area.Enter("load 100,000 objects", pParticipant, Load<Participant>, SIZE);
}

const bool sbEntered = [] {
    Enter<QBaseXml>("QBase");
#if QBASE_HAS_PUGIXML
    Enter<PugixmlByHand>("pugixml, by hand");
    Enter<BareDocument<PugixmlDocument>>("document alone: pugixml");
#endif
#if QBASE_HAS_SERIALIZATION
    Enter<BoostXml>("Boost.Serialization");
#endif
#if QBASE_HAS_CEREAL
    Enter<CerealXml>("cereal");
#endif
    Enter<BareDocument<TinyXml2Document>>("document alone: TinyXML-2");
    Enter<Bound>("bound");
    return true;
}();

} // namespace
} // namespace Bench
