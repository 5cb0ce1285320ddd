#include "tests/support/AllocationFault.h"

#include <curl/curl.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>

/// The program's libcurl takes its memory here, from before the first test to after the last: its allocations count for
/// an `AllocationFault` as those of operator new do, also under the thread sanitizer, which has no hooks for the
/// latter.
namespace qx::test {
namespace {

void* Keep(void* block) {
  if (block != nullptr) NoteAllocation(block);
  return block;
}

void* Allocate(size_t size) { return TakeAllocationFault() ? nullptr : Keep(std::malloc(size)); }

void* AllocateZeroed(size_t count, size_t size) {
  return TakeAllocationFault() ? nullptr : Keep(std::calloc(count, size));
}

void Release(void* block) {
  if (block != nullptr) NoteRelease(block);
  std::free(block);
}

void* Resize(void* block, size_t size) {
  if (TakeAllocationFault()) return nullptr;
  if (block != nullptr) NoteRelease(block);
  return Keep(std::realloc(block, size));
}

char* Duplicate(const char* text) {
  const size_t size = std::strlen(text) + 1;
  void* const copy = Allocate(size);
  return copy == nullptr ? nullptr : static_cast<char*>(std::memcpy(copy, text, size));
}

class CurlMemory final : public testing::Environment {
 public:
  void SetUp() override {
    ASSERT_EQ(curl_global_init_mem(CURL_GLOBAL_ALL, Allocate, Release, Resize, Duplicate, AllocateZeroed), CURLE_OK);
  }
  void TearDown() override { curl_global_cleanup(); }
};

[[maybe_unused]] const testing::Environment* const sInstalled = testing::AddGlobalTestEnvironment(new CurlMemory);

}  // namespace
}  // namespace qx::test
