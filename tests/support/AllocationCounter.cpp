#include "AllocationCounter.h"

#include <cstdlib>
#include <new>

// Every replaceable form of `operator new` and `operator delete` is defined
// here, so that each allocation is counted and released by the same
// allocator. Replacing only some forms breaks under AddressSanitizer: its
// runtime supplies the forms left out, and a block from its `nothrow` new
// freed through the `free` below is reported as an allocation/deallocation
// mismatch.

namespace {

thread_local std::size_t allocationCount = 0;

void* allocateOrNull(std::size_t size, std::size_t alignment) {
  ++allocationCount;
  if (size == 0) {
    size = 1;
  }
  if (alignment <= alignof(std::max_align_t)) {
    return std::malloc(size);
  }
  void* memory = nullptr;
  return posix_memalign(&memory, alignment, size) == 0 ? memory : nullptr;
}

void* allocate(std::size_t size, std::size_t alignment) {
  void* const memory = allocateOrNull(size, alignment);
  if (memory == nullptr) {
    throw std::bad_alloc();
  }
  return memory;
}

constexpr std::size_t kDefaultAlignment = alignof(std::max_align_t);

std::size_t toSize(std::align_val_t alignment) {
  return static_cast<std::size_t>(alignment);
}

}  // namespace

namespace testsupport {

std::size_t threadAllocationCount() { return allocationCount; }

}  // namespace testsupport

void* operator new(std::size_t size) {
  return allocate(size, kDefaultAlignment);
}
void* operator new[](std::size_t size) {
  return allocate(size, kDefaultAlignment);
}
void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
  return allocateOrNull(size, kDefaultAlignment);
}
void* operator new[](std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
  return allocateOrNull(size, kDefaultAlignment);
}
void* operator new(std::size_t size, std::align_val_t alignment) {
  return allocate(size, toSize(alignment));
}
void* operator new[](std::size_t size, std::align_val_t alignment) {
  return allocate(size, toSize(alignment));
}
void* operator new(std::size_t size, std::align_val_t alignment,
                   const std::nothrow_t& /*tag*/) noexcept {
  return allocateOrNull(size, toSize(alignment));
}
void* operator new[](std::size_t size, std::align_val_t alignment,
                     const std::nothrow_t& /*tag*/) noexcept {
  return allocateOrNull(size, toSize(alignment));
}

void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t /*size*/) noexcept {
  std::free(memory);
}
void operator delete[](void* memory, std::size_t /*size*/) noexcept {
  std::free(memory);
}
void operator delete(void* memory, const std::nothrow_t& /*tag*/) noexcept {
  std::free(memory);
}
void operator delete[](void* memory, const std::nothrow_t& /*tag*/) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::align_val_t /*alignment*/) noexcept {
  std::free(memory);
}
void operator delete[](void* memory, std::align_val_t /*alignment*/) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::size_t /*size*/,
                     std::align_val_t /*alignment*/) noexcept {
  std::free(memory);
}
void operator delete[](void* memory, std::size_t /*size*/,
                       std::align_val_t /*alignment*/) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::align_val_t /*alignment*/,
                     const std::nothrow_t& /*tag*/) noexcept {
  std::free(memory);
}
void operator delete[](void* memory, std::align_val_t /*alignment*/,
                       const std::nothrow_t& /*tag*/) noexcept {
  std::free(memory);
}
