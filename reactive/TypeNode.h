// Type descriptions: what a class publishes of itself to the framework.
//
// A description names the class and its base, lists its attributes in
// declaration order (handlers included) with their ids, types and kinds,
// lists its constructor parameters, and carries the generic operations
// that build an instance from an array of arguments, read and change its
// attributes, walk its collections and call its handlers by id. It is a
// second door to the same members: nothing the class's own member
// functions do not do, and none of the agent's logic goes through it.
//
// Machines get theirs from the vekMembers() list that drives their
// generated behaviour (Generic.h), so a description cannot drift from its
// class. The registry keeps descriptions in registration order.
//
// Values cross the door as pointers, typed by the texts of the
// description: an object (a type text naming a counted class) travels as a
// Vek::Ptr<Vek::PtrInterface const>; any other value as itself (Vek::Name,
// U32, bool, ...); a counter as U32.
#pragma once

#include <string>
#include <string_view>
#include <typeinfo>
#include <vector>

#include "reactive/Exception.h"
#include "reactive/PtrInterface.h"
#include "reactive/String.h"
#include "reactive/Types.h"

namespace Vek {

class NotifieeConst;
struct TypeNode;

enum class MemberKind {
  constructorValue,
  innerValue,
  watchedEntity,
  keyedReactors,
  keyedMachines,
  singleMachine,
  keyedEntities,
  handler,
};

// The flags of an attribute entry: which kind of member it is, and whether
// the generic door writes it.
enum AttrFlag : U32 {
  attrConstructorValue = 1u << 0,
  attrWatchedEntity = 1u << 1,
  attrKeyedReactors = 1u << 2,
  attrKeyedMachines = 1u << 3,
  attrSingleMachine = 1u << 4,
  attrHandler = 1u << 5,
  attrKeyedEntities = 1u << 6,
  attrInnerValue = 1u << 7,
  attrWritable = 1u << 8,
};

// "constructor value, watched entity", for people.
std::string attrFlagsText(U32 flags);

// A name and the text of its type: a constructor or handler parameter.
struct TypeParam {
  std::string name;
  std::string type;
  friend bool operator==(TypeParam const&, TypeParam const&) = default;
};

struct VekAttr {
  std::string name;
  TypeNode const* owner = nullptr;
  // "void" for a handler without result.
  std::string valueType;
  // Empty for a single attribute.
  std::string keyType;
  std::string keyName;
  // A handler's parameters; the constructor parameters of the machines a
  // member builds.
  std::vector<TypeParam> params;
  AttributeId id = 0;
  U32 flags = 0;
};

namespace GenericIf {

// Operation codes of genericIfAttributeOp.
enum AttributeOp : int {
  read = 0,     // a single value; a keyed member's entity by key, or null
  write = 1,    // xIs with the value
  remove = 2,   // xDel with the key; the result is the removed entity
  count = 3,    // the collection's number of members
  changes = 4,  // the collection's change counter
  present = 5,  // whether the key has a member
  call = 8,     // a handler, with its argument
};

// Answers of genericIfAttributeOp.
enum Answer : int { done = 0, refused = 1, noSuchAttribute = 2 };

// A walk over one collection; its table holds its operations.
struct Iterator {
  virtual ~Iterator() = default;
};

// The operations of a collection iterator, in this order.
struct IteratorTable {
  Ptr<PtrInterface const> (*iterObj)(Iterator*);
  // Writes the current key to `key`, typed by the attribute's key type.
  void (*iterKey)(Iterator*, void* key);
  bool (*iterNonnull)(Iterator*);
  void (*iterInc)(Iterator*);
  void (*iterDel)(Iterator*);
};

// What the generic notifiee of an entity tells: the index of the changed
// attribute among the entity's own notified ones.
class Target {
 public:
  virtual void onRawAttribute(U32 index) = 0;
  virtual ~Target() = default;
};

// Builds an instance; one pointer per constructor parameter, in order.
// Answers `refused` and leaves `result` null when an object argument is not
// of the parameter's class.
using ConstructFn = int (*)(Ptr<PtrInterface>& result, void const* const* args);
using AttributeOpFn = int (*)(void* result, PtrInterface& object, AttributeId attribute,
                              int operation, void const* argument, void const* second);
// Null for an attribute that is no collection of reactors or machines.
using IteratorFn = Iterator* (*)(PtrInterface& object, AttributeId attribute,
                                 IteratorTable const** table);
// An active notifiee on `notifier` that passes the entity's own notified
// attributes to `target`; null where the class has none.
using NotifieeFn = Ptr<NotifieeConst> (*)(Ptr<PtrInterface const> const& notifier,
                                          Target* target);

}  // namespace GenericIf

struct TypeNode {
  std::string name;
  TypeNode const* base = nullptr;
  std::vector<VekAttr> attributes;
  std::vector<TypeParam> constructorParameters;
  GenericIf::ConstructFn genericIfConstructFromCtorArgs = nullptr;
  GenericIf::AttributeOpFn genericIfAttributeOp = nullptr;
  GenericIf::IteratorFn genericIfIterator = nullptr;
  GenericIf::NotifieeFn genericIfNotifiee = nullptr;

  U32 entryCount() const { return static_cast<U32>(attributes.size()); }
  VekAttr const* attribute(std::string_view attributeName) const;
  VekAttr const* attribute(AttributeId id) const;
};

// The descriptions of the framework's own bases.
TypeNode const& ptrInterfaceType();
TypeNode const& entityType();

// Registers a description; a later one under the same name takes its place.
void typeNodeIs(TypeNode const* type);
// The registered description of `name`, or null.
TypeNode const* typeNode(std::string_view name);
// Every registered description, in registration order.
std::vector<TypeNode const*> typeNodes();

// The text of a type in descriptions: "U32", "bool", "Vek::Name"; a counted
// reference reads as the class it refers to.
template <class T>
std::string typeText() {
  using U = std::remove_cv_t<T>;
  if constexpr (std::is_void_v<U>) {
    return "void";
  } else if constexpr (std::is_same_v<U, bool>) {
    return "bool";
  } else if constexpr (std::is_same_v<U, U32>) {
    return "U32";
  } else if constexpr (isPtr<U>) {
    return typeText<typename U::element_type>();
  } else {
    return typeName(typeid(U));
  }
}

}  // namespace Vek
