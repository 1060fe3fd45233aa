// Slots: reads virtual table slots the way the Itanium C++ ABI lays them out, for tests of slot order.
#pragma once

#include <cstddef>
#include <cstring>
#include <new>

namespace tumblewash::imagelib {

/// The slot number of a virtual member, or -1 for a member that is not virtual.
template <class Member>
int slotOf(Member member) {
    std::ptrdiff_t words[2] = {};
    static_assert(sizeof member == sizeof words);
    std::memcpy(words, &member, sizeof words);
#if defined(__arm__) || defined(__aarch64__) || defined(__mips__)
    const bool isvirtual = (words[1] & 1) != 0;
    const std::ptrdiff_t offset = words[0];
#else
    const bool isvirtual = (words[0] & 1) != 0;
    const std::ptrdiff_t offset = words[0] - 1;
#endif
    return isvirtual ? static_cast<int>(offset / static_cast<std::ptrdiff_t>(sizeof(void*))) : -1;
}

using SlotFunction = void (*)(void*);

/// The function in slot `slot` of the table that the subobject at `object` points to.
inline SlotFunction functionAt(void* object, int slot) {
    SlotFunction* table = nullptr;
    std::memcpy(&table, object, sizeof table);
    return table[slot];
}

/// Derives from C and reports its destruction.
template <class C>
class Mortal : public C {
  public:
    explicit Mortal(bool* gone) : gone_(gone) {}
    ~Mortal() override { *gone_ = true; }

  private:
    bool* gone_;
};

/// True when the complete-object destructor of C sits at `slot` of the table that its Base subobject shows.
template <class C, class Base = C>
bool completeDestructorAt(int slot) {
    bool gone = false;
    alignas(Mortal<C>) unsigned char room[sizeof(Mortal<C>)];
    auto* object = new (room) Mortal<C>(&gone);
    void* base = static_cast<Base*>(object);
    functionAt(base, slot)(base);
    return gone;
}

/// True when the deleting destructor of C sits at `slot`; the sanitizer build also sees that the memory is
/// freed.
template <class C, class Base = C>
bool deletingDestructorAt(int slot) {
    bool gone = false;
    void* base = static_cast<Base*>(new Mortal<C>(&gone));
    functionAt(base, slot)(base);
    return gone;
}

}  // namespace tumblewash::imagelib
