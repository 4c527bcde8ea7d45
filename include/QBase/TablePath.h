// TablePath names an object in nested tables: the names from the outermost table to the leaf.
//
//     Ptr<TablePath> pPath = TablePath::Construct("scene.lights.sun");
//     pScene->FindPath(pPath);
//
// A text is cut at its dots, but never at its first byte: ".a" is one name. Empty names are kept. A name
// that holds a dot itself does not survive ToString and FromString.
//
// Threads: nothing here locks; whoever shares a path guards it.

#pragma once

#include "QBase/LinkedList.h"
#include "QBase/Object.h"

namespace QBase
{

class QBASE_API TablePath : public Object
{
    QBASE_OBJECT(TablePath, Object)

public:
    /// Replaces the names by those of a dotted text.
    void FromString(const String& text);

    /// The names joined by dots.
    virtual String ToString();

    /// Appends a name at the leaf end.
    void AddNode(const String& name);

    /// The leaf's name; String::Null for an empty path. Borrowed.
    const String& GetName() const;

    /// A new path with the same names and dynamic properties, with reference count 0.
    TablePath* Copy() override;

    /// The names, outermost first. Borrowed.
    const LinkedList<String>& GetNodes() const { return mNodes; }

protected:
    /// A "String" value gives the text.
    explicit TablePath(const Value& value);
    TablePath(const TablePath& other);
    TablePath& operator=(const TablePath& other);

private:
    void CopyNodes(const TablePath& other);

    LinkedList<String> mNodes;
};

} // namespace QBase
