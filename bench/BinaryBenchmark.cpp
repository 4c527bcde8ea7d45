// Object graphs in binary formats. Every participant keeps what is shared shared, as a graph needs it.

#include "PlainModel.h"
#include "SerializerModel.h"

#include "QBase/BinarySerializer.h"

#if QBASE_HAS_SERIALIZATION
#    include "Peers/BoostModel.h"

#    include <boost/archive/binary_iarchive.hpp>
#    include <boost/archive/binary_oarchive.hpp>
#endif
#if QBASE_HAS_CEREAL
#    include "Peers/CerealModel.h"

#    include <cereal/archives/binary.hpp>
#endif
#if QBASE_HAS_QT
#    include "Peers/QtModel.h"

#    include <QBuffer>
#    include <QByteArray>
#    include <QHash>
#    include <QMetaProperty>
#    include <QVariant>
#endif

#include <cstring>
#include <istream>
#include <ostream>
#include <string>
#include <vector>

namespace Bench
{
namespace
{

#if QBASE_HAS_SERIALIZATION
class BoostBinary
{
public:
    explicit BoostBinary(std::int64_t size) : mpTree(GetPlainTree<PlainNode>(size)) {}

    std::size_t Save()
    {
        BlockBuffer buffer(0);
        boost::archive::binary_oarchive archive(buffer, boost::archive::no_header);
        archive << mpTree;
        return buffer.GetWrittenSize();
    }
    PlainNode* Load(std::size_t size)
    {
        BlockBuffer buffer(size);
        boost::archive::binary_iarchive archive(buffer, boost::archive::no_header);
        PlainNode* pRoot = nullptr;
        archive >> pRoot;
        return pRoot;
    }
    void Destroy(PlainNode*& rpRoot) { DeletePlainTree(rpRoot); }

private:
    PlainNode* mpTree;
};
#endif

#if QBASE_HAS_CEREAL
class CerealBinary
{
public:
    explicit CerealBinary(std::int64_t size) : mpTree(GetSharedTree(size)) {}

    std::size_t Save()
    {
        BlockBuffer buffer(0);
        std::ostream stream(&buffer);
        cereal::BinaryOutputArchive archive(stream);
        archive(mpTree);
        return buffer.GetWrittenSize();
    }
    std::shared_ptr<SharedNode> Load(std::size_t size)
    {
        BlockBuffer buffer(size);
        std::istream stream(&buffer);
        cereal::BinaryInputArchive archive(stream);
        std::shared_ptr<SharedNode> pRoot;
        archive(pRoot);
        return pRoot;
    }
    void Destroy(std::shared_ptr<SharedNode>& rpRoot) { rpRoot = nullptr; }

private:
    const std::shared_ptr<SharedNode>& mpTree;
};
#endif

#if QBASE_HAS_QT
// Qt writes to byte arrays, which keep their room. A tree is saved node after node, each with the numbers of
// its children, which are given out when something is met first.
class QtBytes
{
protected:
    QtBytes() { mBytes.reserve(1 << 20); }

    QByteArray mBytes;
};

class QtByHand : QtBytes
{
public:
    explicit QtByHand(std::int64_t size) : mpTree(GetPlainTree<QtPlainNode>(size)) {}

    std::size_t Save()
    {
        QBuffer buffer(&mBytes);
        buffer.open(QIODevice::WriteOnly);
        QDataStream stream(&buffer);
        stream.setFloatingPointPrecision(QDataStream::SinglePrecision);
        QHash<const QtPlainNode*, int> ids;
        QHash<const PlainShared*, int> sharedIds;
        std::vector<const QtPlainNode*> nodes{mpTree};
        for (std::size_t i = 0; i < nodes.size(); ++i) {
            const QtPlainNode& node = *nodes[i];
            stream << node.mId << node.mMass << node.mbVisible << node.mLabel << node.mPlace << node.mTint
                   << IdOf(node.mpShared, sharedIds) << static_cast<int>(node.mChildren.size());
            for (const QtPlainNode* const pChild : node.mChildren) {
                const int known = static_cast<int>(ids.size());
                const int id = IdOf(pChild, ids);
                if (id == known) {
                    nodes.push_back(pChild);
                }
                stream << id;
            }
        }
        return static_cast<std::size_t>(mBytes.size());
    }

    QtPlainNode* Load(std::size_t)
    {
        QDataStream stream(mBytes);
        stream.setFloatingPointPrecision(QDataStream::SinglePrecision);
        std::vector<QtPlainNode*> nodes{new QtPlainNode};
        std::vector<PlainShared*> shared;
        for (std::size_t i = 0; i < nodes.size(); ++i) {
            QtPlainNode& rNode = *nodes[i];
            int sharedId = 0;
            int numChildren = 0;
            stream >> rNode.mId >> rNode.mMass >> rNode.mbVisible >> rNode.mLabel >> rNode.mPlace >>
                rNode.mTint >> sharedId >> numChildren;
            while (static_cast<int>(shared.size()) <= sharedId) {
                shared.push_back(new PlainShared);
            }
            rNode.mpShared = shared[static_cast<std::size_t>(sharedId)];
            for (int child = 0; child < numChildren; ++child) {
                int id = 0;
                stream >> id;
                while (static_cast<int>(nodes.size()) <= id + 1) {
                    nodes.push_back(new QtPlainNode);
                }
                nodes[i]->mChildren.push_back(nodes[static_cast<std::size_t>(id) + 1]);
            }
        }
        return stream.status() == QDataStream::Ok ? nodes[0] : nullptr;
    }

    void Destroy(QtPlainNode*& rpRoot) { DeletePlainTree(rpRoot); }

private:
    template <typename T>
    static int IdOf(const T* p, QHash<const T*, int>& rIds)
    {
        const auto found = rIds.constFind(p);
        return found != rIds.constEnd() ? *found : *rIds.insert(p, static_cast<int>(rIds.size()));
    }

    QtPlainNode* mpTree;
};

// Knows nothing of the classes: walks their properties, as QBase does.
class QtByMetaObject : QtBytes
{
public:
    explicit QtByMetaObject(std::int64_t size) : mpTree(GetPlainTree<QtNode>(size))
    {
        qRegisterMetaType<QtNode*>("Bench::QtNode*");
        qRegisterMetaType<QtShared*>("Bench::QtShared*");
    }

    std::size_t Save()
    {
        QBuffer buffer(&mBytes);
        buffer.open(QIODevice::WriteOnly);
        QDataStream stream(&buffer);
        std::vector<const QObject*> objects{mpTree};
        QHash<const QObject*, int> ids{{mpTree, 0}};
        const auto write = [&](const QObject* pObject) {
            const auto found = ids.constFind(pObject);
            if (found != ids.constEnd()) {
                stream << *found;
                return;
            }
            stream << *ids.insert(pObject, static_cast<int>(objects.size()));
            objects.push_back(pObject);
        };
        for (std::size_t i = 0; i < objects.size(); ++i) {
            const QObject* const pObject = objects[i];
            const QMetaObject* const pClass = pObject->metaObject();
            stream << QByteArray::fromRawData(pClass->className(), qsizetype(qstrlen(pClass->className())));
            for (int index = pClass->propertyOffset(); index < pClass->propertyCount(); ++index) {
                const QVariant value = pClass->property(index).read(pObject);
                if (value.metaType() == QMetaType::fromType<QObject*>()) {
                    write(value.value<QObject*>());
                } else if (value.metaType() == QMetaType::fromType<QList<QObject*>>()) {
                    const QList<QObject*> list = value.value<QList<QObject*>>();
                    stream << static_cast<int>(list.size());
                    for (const QObject* const pElement : list) {
                        write(pElement);
                    }
                } else {
                    value.metaType().save(stream, value.constData());
                }
            }
        }
        mNumObjects = objects.size();
        return static_cast<std::size_t>(mBytes.size());
    }

    // An object's class stands before it, so ids met earlier wait until all objects are there.
    QObject* Load(std::size_t)
    {
        QDataStream stream(mBytes);
        struct Reference
        {
            QObject* mpObject;
            QMetaProperty mProperty;
            std::vector<int> mIds;
            bool mbList;
        };
        std::vector<Reference> references;
        mObjects.clear();
        while (mObjects.size() < mNumObjects) {
            QByteArray className;
            stream >> className;
            QObject* const pObject = QMetaType::fromName(className + '*').metaObject()->newInstance();
            mObjects.push_back(pObject);
            const QMetaObject* const pClass = pObject->metaObject();
            for (int index = pClass->propertyOffset(); index < pClass->propertyCount(); ++index) {
                const QMetaProperty property = pClass->property(index);
                const bool bList = property.metaType() == QMetaType::fromType<QList<QObject*>>();
                if (bList || property.metaType() == QMetaType::fromType<QObject*>()) {
                    int count = 1;
                    if (bList) {
                        stream >> count;
                    }
                    references.push_back({pObject, property, std::vector<int>(std::size_t(count)), bList});
                    for (int& rId : references.back().mIds) {
                        stream >> rId;
                    }
                } else {
                    QVariant value(property.metaType());
                    property.metaType().load(stream, value.data());
                    property.write(pObject, value);
                }
            }
        }
        for (const Reference& reference : references) {
            if (reference.mbList) {
                QList<QObject*> list;
                for (const int id : reference.mIds) {
                    list.push_back(mObjects[static_cast<std::size_t>(id)]);
                }
                reference.mProperty.write(reference.mpObject, QVariant::fromValue(list));
            } else {
                QObject* const pTarget = mObjects[static_cast<std::size_t>(reference.mIds[0])];
                reference.mProperty.write(reference.mpObject, QVariant::fromValue(pTarget));
            }
        }
        return stream.status() == QDataStream::Ok ? mObjects[0] : nullptr;
    }

    void Destroy(QObject*&)
    {
        for (const QObject* const pObject : mObjects) {
            delete pObject;
        }
    }

private:
    QtNode* mpTree;
    std::vector<QObject*> mObjects;
    std::size_t mNumObjects = 0;
};
#endif

// Fixed records with the children's numbers behind each, for this one kind of node; nothing is checked.
class Bound
{
public:
    explicit Bound(std::int64_t size)
        : mSize(static_cast<std::size_t>(size)), mpTree(GetPlainTree<PlainNode>(size))
    {}

    std::size_t Save()
    {
        char* pEnd = TheBlock();
        mNodes.assign(1, mpTree);
        for (std::size_t i = 0; i < mNodes.size(); ++i) {
            const PlainNode& node = *mNodes[i];
            Record record{node.mId,
                          node.mMass,
                          node.mPlace,
                          node.mTint,
                          static_cast<std::uint32_t>(node.mpShared->mIndex),
                          static_cast<std::uint32_t>(mNodes.size()),
                          static_cast<std::uint16_t>(node.mChildren.size()),
                          static_cast<std::uint8_t>(node.mLabel.size()),
                          node.mbVisible};
            std::memcpy(pEnd, &record, sizeof(record));
            std::memcpy(pEnd + sizeof(record), node.mLabel.data(), node.mLabel.size());
            pEnd += sizeof(record) + node.mLabel.size();
            mNodes.insert(mNodes.end(), node.mChildren.begin(), node.mChildren.end());
        }
        return static_cast<std::size_t>(pEnd - TheBlock());
    }

    std::vector<PlainNode>* Load(std::size_t size)
    {
        const char* pNext = TheBlock();
        const char* const pEnd = pNext + size;
        auto* const pNodes = new std::vector<PlainNode>(mSize);
        mShared.resize(64);
        for (PlainNode* pNode = pNodes->data(); pNext < pEnd; ++pNode) {
            Record record;
            std::memcpy(&record, pNext, sizeof(record));
            pNode->mId = record.mId;
            pNode->mMass = record.mMass;
            pNode->mbVisible = record.mbVisible;
            pNode->mPlace = record.mPlace;
            pNode->mTint = record.mTint;
            pNode->mpShared = &mShared[record.mShared];
            pNode->mLabel.assign(pNext + sizeof(record), record.mLabelSize);
            pNode->mChildren.resize(record.mNumChildren);
            for (std::size_t i = 0; i < record.mNumChildren; ++i) {
                pNode->mChildren[i] = &(*pNodes)[record.mFirstChild + i];
            }
            pNext += sizeof(record) + record.mLabelSize;
        }
        return pNodes;
    }

    void Destroy(std::vector<PlainNode>*& rpNodes) { delete rpNodes; }

private:
    struct Record
    {
        int mId;
        float mMass;
        PlainVector3 mPlace;
        PlainColor mTint;
        std::uint32_t mShared;
        std::uint32_t mFirstChild;
        std::uint16_t mNumChildren;
        std::uint8_t mLabelSize;
        bool mbVisible;
    };

    std::size_t mSize;
    PlainNode* mpTree;
    std::vector<PlainNode*> mNodes;
    std::vector<PlainShared> mShared;
};

template <typename Participant>
void Enter(const char* pParticipant)
{
    const Area area("binary");
    constexpr std::int64_t SIZE = 100000;
    area.Enter("save 100,000 objects", pParticipant, Save<Participant>, SIZE);
    area.Enter("load 100,000 objects", pParticipant, Load<Participant>, SIZE);
}

const bool sbEntered = [] {
    Enter<QBaseFormat<QBase::BinarySerializer>>("QBase");
#if QBASE_HAS_SERIALIZATION
    Enter<BoostBinary>("Boost.Serialization");
#endif
#if QBASE_HAS_CEREAL
    Enter<CerealBinary>("cereal");
#endif
#if QBASE_HAS_QT
    Enter<QtByHand>("Qt, by hand");
    Enter<QtByMetaObject>("Qt, meta-objects");
#endif
    Enter<Bound>("bound");
    return true;
}();

} // namespace
} // namespace Bench
