// SPDX-License-Identifier: Apache-2.0
// The vtable slot that a pointer to a virtual member function designates.
//
// Under the Itanium C++ ABI (GCC and Clang on Linux) a pointer to member
// function is two words, `ptr` and `adj`. For a virtual function the slot's
// byte offset in the vtable is encoded in one of two ways:
//   - generic:        ptr = 1 + offset, adj = this adjustment;
//   - ARM and AArch64: ptr = offset, adj = 2 * this adjustment + 1.
// The vtable's first word after the address point is slot 0.
//
// Cost: a copy of two words. Thread-safe.
#ifndef TESTS_ABI_VIRTUALSLOT_H
#define TESTS_ABI_VIRTUALSLOT_H

#include <cstddef>
#include <cstring>

namespace abiguard {

struct VirtualSlot {
  // False when the pointer designates a non-virtual function, or when the
  // encoding is not the one this platform is expected to use.
  bool isVirtual = false;
  // Index of the slot, in pointer-sized words from the address point.
  std::ptrdiff_t index = -1;
};

template <class MemberFunction>
VirtualSlot virtualSlotOf(MemberFunction memberFunction) {
  static_assert(sizeof(MemberFunction) == 2 * sizeof(std::ptrdiff_t),
                "pointer to member function is not the Itanium pair");
  std::ptrdiff_t words[2] = {0, 0};
  std::memcpy(words, &memberFunction, sizeof(words));
  const std::ptrdiff_t ptr = words[0];
  const std::ptrdiff_t adj = words[1];
  constexpr auto kWord = static_cast<std::ptrdiff_t>(sizeof(void*));

  VirtualSlot slot;
#if defined(__arm__) || defined(__aarch64__)
  slot.isVirtual = (adj & 1) != 0;
  const std::ptrdiff_t offset = ptr;
#else
  slot.isVirtual = (ptr & 1) != 0;
  const std::ptrdiff_t offset = ptr - 1;
  (void)adj;
#endif
  if (slot.isVirtual && offset % kWord == 0) {
    slot.index = offset / kWord;
  }
  return slot;
}

}  // namespace abiguard

#endif  // TESTS_ABI_VIRTUALSLOT_H
