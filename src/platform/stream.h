// The few stdio calls whose names differ between the C runtimes; private to
// the platform layer.
#pragma once

#include <cstdint>
#include <cstdio>

namespace quern::platform::stream {

int seek64(std::FILE* stream, int64_t offset, int whence);
int64_t tell64(std::FILE* stream);
// Forces the stream's file to stable storage; 0 on success.
int syncToDisk(std::FILE* stream);
// getc, fread and fwrite without the stream lock: a stream belongs to one
// thread at a time.
int getcUnlocked(std::FILE* stream);
size_t readUnlocked(void* buffer, size_t size, std::FILE* stream);
size_t writeUnlocked(const void* buffer, size_t size, std::FILE* stream);

}  // namespace quern::platform::stream
