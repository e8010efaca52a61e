#pragma once

#include "kelda/KApi.h"
#include "kelda/KMatrix.h"
#include "kelda/KObject.h"
#include "kelda/KStatus.h"
#include "kelda/KString.h"

class KPlugArray;

/// An attribute of a node: "lambert1.color", "lambert1.colorR", "mesh1.uvSets[0].uvSetName". Angles are in
/// radians, lengths in centimetres.
class KELDA_API KPlug
{
public:
    KPlug() : _attr(-1), _element(-1) {} ///< null

    bool isNull() const;         ///< also when the node is gone
    KString name() const;        ///< "node.attribute"; "" when null
    KString partialName() const; ///< the attribute alone
    KObject node(KStatus* status = nullptr) const;
    bool operator==(const KPlug& other) const;
    bool operator!=(const KPlug& other) const { return !(*this == other); }

    /// Numbers convert among each other (bool: not 0; int: truncated, fails when out of range; float:
    /// narrowed). A compound, a whole array, a message and a text asked for as a number fail and leave the
    /// value alone.
    KStatus getValue(bool& value) const;
    KStatus getValue(int& value) const;
    KStatus getValue(short& value) const;
    KStatus getValue(float& value) const;
    KStatus getValue(double& value) const;
    /// A text, or a number as text. A relative file name ("fileTextureName") of a file that stands beside the
    /// scene's is answered as a full path; scene files keep what was set.
    KStatus getValue(KString& value) const;
    /// Of matrix attributes: "matrix", "worldMatrix[n]" and "worldInverseMatrix[n]" of a DAG node's instance
    /// n, and inputs, which have the matrix of what they are connected to (none: identity).
    KStatus getValue(KMatrix& value) const;
    bool asBool(KStatus* status = nullptr) const;
    int asInt(KStatus* status = nullptr) const;
    float asFloat(KStatus* status = nullptr) const;
    double asDouble(KStatus* status = nullptr) const;
    KString asString(KStatus* status = nullptr) const;

    KStatus setValue(bool value);
    KStatus setValue(int value);
    KStatus setValue(float value);
    KStatus setValue(double value);
    KStatus setValue(const KString& value);
    KStatus setValue(const char* value) { return setValue(KString(value)); }

    bool isConnected() const; ///< in either direction
    /// The plugs at the other ends, in the order of connecting: the source of this plug (`asDestination`),
    /// then its destinations (`asSource`). True when there is any.
    bool connectedTo(KPlugArray& plugs, bool asDestination, bool asSource, KStatus* status = nullptr) const;

    bool isArray() const;
    bool isElement() const { return _element >= 0; }
    bool isCompound() const;
    unsigned
    numElements(KStatus* status = nullptr) const; ///< elements with a value or a connection, of an array
    unsigned numChildren(KStatus* status = nullptr) const; ///< components or children, of a compound
    /// The element with that index, whether or not it exists.
    KPlug elementByLogicalIndex(unsigned index, KStatus* status = nullptr) const;
    /// The index-th of those that exist.
    KPlug elementByPhysicalIndex(unsigned index, KStatus* status = nullptr) const;
    KPlug operator[](unsigned index) const { return elementByLogicalIndex(index); }
    unsigned logicalIndex() const { return _element < 0 ? 0 : static_cast<unsigned>(_element); }
    KPlug child(unsigned index, KStatus* status = nullptr) const;
    KPlug parent(KStatus* status = nullptr) const;

    /// For the library.
    KPlug(const KObject& node, int attr, int element) : _node(node), _attr(attr), _element(element) {}
    int attrIndex() const { return _attr; }
    int elementIndex() const { return _element; }

private:
    KObject _node;
    int _attr;
    int _element;
};
