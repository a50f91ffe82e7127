#include "file_core.h"

#include <cstdio>
#include <cstring>

#include "sibling_module.h"

namespace {

QzHostTable* host = nullptr;

constexpr int64_t kMostNameCharacters = 1023;
constexpr int64_t kMostBytes = 4;  // of one character in UTF-8

// A file with what it takes to give it back.
struct File {
  QzFile file;  // first, so that the caller's pointer is this record
  std::FILE* stream;
  QzPool* pool;
};

// UTF-8 of one character; its number of bytes.
int64_t encode(uint32_t c, char* out) {
  if (c < 0x80) {
    out[0] = static_cast<char>(c);
    return 1;
  }
  int64_t count = c < 0x800 ? 2 : c < 0x10000 ? 3 : 4;
  static constexpr uint32_t kLead[] = {0, 0, 0xc0, 0xe0, 0xf0};
  for (int64_t k = count - 1; k > 0; --k, c >>= 6) out[k] = static_cast<char>(0x80 | (c & 0x3f));
  out[0] = static_cast<char>(kLead[count] | c);
  return count;
}

std::FILE* openStream(const wchar_t* name, int64_t length) {
  if (name == nullptr || length < 1 || length > kMostNameCharacters) return nullptr;
  char path[kMostNameCharacters * kMostBytes + 1];
  int64_t at = 0;
  for (int64_t k = 0; k < length; ++k) at += encode(static_cast<uint32_t>(name[k]), path + at);
  path[at] = '\0';
  return std::fopen(path, "wb");
}

int32_t closeFile(QzFile* file) {
  auto* self = reinterpret_cast<File*>(file);
  const int32_t rc = std::fclose(self->stream) == 0 ? 0 : 1;
  self->pool->free(self->pool, self);
  return rc;
}

int32_t writeLine(QzFile* file, const wchar_t* text, int64_t byteCount, int64_t, int64_t, int64_t) {
  if (text == nullptr || byteCount < 0 || byteCount % static_cast<int64_t>(sizeof(wchar_t)) != 0) return 1;
  std::FILE* stream = reinterpret_cast<File*>(file)->stream;
  const wchar_t end = L'\n';
  const auto size = static_cast<size_t>(byteCount);
  const bool written = std::fwrite(text, 1, size, stream) == size && std::fwrite(&end, sizeof end, 1, stream) == 1;
  return written ? 0 : 1;
}

QzFile* openFile(QzModule* module, const wchar_t* name, int64_t nameLength, const QzFileAttributes*, int64_t, int64_t,
                 const wchar_t*, int32_t* rc, int64_t, int32_t* rc2) {
  *rc = *rc2 = 1;
  QzPool* pool = module->pool;
  auto* self = static_cast<File*>(pool->allocate(pool, sizeof(File), QZ_POOL_ZERO));
  if (self == nullptr) return nullptr;
  self->stream = openStream(name, nameLength);
  if (self->stream == nullptr) {
    pool->free(pool, self);
    return nullptr;
  }
  self->pool = pool;
  self->file.close = closeFile;
  self->file.writeLine = writeLine;
  *rc = *rc2 = 0;
  return &self->file;
}

}  // namespace

int32_t qzfile_core_extent(QzHostTable* handle) {
  host = handle;
  return 0;
}

QzModule* qzfile_core_make(void* /*any*/, QzPool* parent) {
  QzModule* module = qz::makeSibling(host, parent, L"QZFILE POOL", sizeof(QzFileModule));
  if (module != nullptr) reinterpret_cast<QzFileModule*>(module)->open = openFile;
  return module;
}

const QzBuiltinModule qzfile_builtin = {L"qzfile", qzfile_core_extent, qzfile_core_make};
