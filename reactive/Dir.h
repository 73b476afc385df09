// Directories: what the host process mounts and the agent watches.
//
// A directory knows two things of each child, both under the child's name:
// its entry (entryState: whether and how far the child is synchronised) and
// the child entity itself (entityPtr). Either can exist without the other,
// and an entry can exist with an entity that is not synchronised yet
// (status other than 1).
//
//   Vek::Ptr<Vek::Dir> dir = Vek::DirIs("vxlan/version2/vtepStatusDir");
//   dir->entryStateIs(Vek::DirEntryIs("aa-bb", Vek::Dir::Entry::synchronised));
//   dir->entityPtrIs("aa-bb", status);
#pragma once

#include "reactive/Attribute.h"
#include "reactive/Entity.h"

namespace Vek {

class Dir : public Entity {
 public:
  class Entry : public Entity {
   public:
    static constexpr AttributeId statusId = 134;
    static constexpr U32 synchronised = 1;
    using NotifieeConst = ::Vek::NotifieeConst;

    explicit Entry(Name name, U32 status = 0) : Entity(std::move(name)), status_(status) {}

    U32 status() const { return status_.get(); }
    void statusIs(U32 status) { status_.set(*this, status); }

   private:
    Value<U32, statusId> status_;
  };

  static constexpr AttributeId entryStateId = 261;
  static constexpr AttributeId entityPtrId = 266;
  using NotifieeConst = ::Vek::NotifieeConst;

  explicit Dir(Name name) : Entity(std::move(name)) {}

  // The entry of `name`, or null.
  Ptr<Entry> entryState(Name const& name) const { return entryState_.find(name); }
  EntityMap<Name, Entry, entryStateId> const& entryStateCol() const { return entryState_; }
  void entryStateIs(Ptr<Entry> const& entry) { entryState_.add(*this, entry); }
  Ptr<Entry> entryStateDel(Name const& name) { return entryState_.del(*this, name); }

  // The child entity of `name`, or null.
  Ptr<Entity> entityPtr(Name const& name) const { return entityPtr_.get(name); }
  ValueMap<Name, Ptr<Entity>, entityPtrId> const& entityPtrCol() const { return entityPtr_; }
  void entityPtrIs(Name const& name, Ptr<Entity> const& entity) {
    entityPtr_.set(*this, name, entity);
  }
  Ptr<Entity> entityPtrDel(Name const& name) { return entityPtr_.del(*this, name); }

 private:
  EntityMap<Name, Entry, entryStateId> entryState_;
  ValueMap<Name, Ptr<Entity>, entityPtrId> entityPtr_;
};

inline Ptr<Dir> DirIs(Name name) { return new Dir(std::move(name)); }
inline Ptr<Dir::Entry> DirEntryIs(Name name, U32 status = 0) {
  return new Dir::Entry(std::move(name), status);
}

}  // namespace Vek
