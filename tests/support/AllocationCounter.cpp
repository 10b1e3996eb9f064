#include "AllocationCounter.h"

#include <cstdlib>
#include <new>

namespace {

thread_local std::size_t allocationCount = 0;

void* allocate(std::size_t size) {
  ++allocationCount;
  void* const memory = std::malloc(size == 0 ? 1 : size);
  if (memory == nullptr) {
    throw std::bad_alloc();
  }
  return memory;
}

}  // namespace

namespace testsupport {

std::size_t threadAllocationCount() { return allocationCount; }

}  // namespace testsupport

void* operator new(std::size_t size) { return allocate(size); }
void* operator new[](std::size_t size) { return allocate(size); }
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t /*size*/) noexcept {
  std::free(memory);
}
void operator delete[](void* memory, std::size_t /*size*/) noexcept {
  std::free(memory);
}
