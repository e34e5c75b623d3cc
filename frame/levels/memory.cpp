// Typed aligned allocation of one processor level; see frame/memory.h.
#include "frame/memory.h"

namespace nyx::NYX_TAG {

namespace {

// The byte count of len elements, reduced to 32 bits as the allocator takes it.
int32_t ByteCount(int32_t len, uint32_t elementBytes) {
  return static_cast<int32_t>(static_cast<uint32_t>(len) * elementBytes);
}

}  // namespace

uint8_t* nyxsMalloc_8u(int32_t len) {
  if (len < 1) return nullptr;
  return static_cast<uint8_t*>(nyxMalloc(len));
}

uint16_t* nyxsMalloc_16u(int32_t len) {
  if (len < 1) return nullptr;
  return static_cast<uint16_t*>(nyxMalloc(ByteCount(len, sizeof(uint16_t))));
}

int32_t* nyxsMalloc_32s(int32_t len) {
  if (len < 1) return nullptr;
  return static_cast<int32_t*>(nyxMalloc(ByteCount(len, sizeof(int32_t))));
}

float* nyxsMalloc_32f(int32_t len) {
  if (len < 1) return nullptr;
  return static_cast<float*>(nyxMalloc(ByteCount(len, sizeof(float))));
}

void nyxsFree(void* ptr) {
  nyxFree(ptr);
}

}  // namespace nyx::NYX_TAG
