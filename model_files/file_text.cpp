#include "model_files/file_text.h"

#include <bzlib.h>
#include <sys/stat.h>
#include <zlib.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <vector>

namespace qzfiles {

namespace {

constexpr size_t chunkSize = size_t{1} << 18;

std::string readBytes(const std::string& path) {
  struct stat info {};
  if (stat(path.c_str(), &info) != 0) throw ModelFileError(std::strerror(errno));
  if (S_ISDIR(info.st_mode)) throw ModelFileError("is a folder, not a model file");
  const std::unique_ptr<FILE, int (*)(FILE*)> file(std::fopen(path.c_str(), "rb"), std::fclose);
  if (!file) throw ModelFileError(std::strerror(errno));
  std::string bytes;
  std::vector<char> chunk(chunkSize);
  for (;;) {
    const size_t got = std::fread(chunk.data(), 1, chunk.size(), file.get());
    bytes.append(chunk.data(), got);
    if (got < chunk.size()) break;
  }
  if (std::ferror(file.get()) != 0) throw ModelFileError("can't be read to its end");
  return bytes;
}

// Members of a gzip file may follow each other; what follows the last one is padding.
std::string inflateGzip(const std::string& bytes) {
  z_stream stream{};
  constexpr int windowBitsOfGzip = 15 + 16;
  if (inflateInit2(&stream, windowBitsOfGzip) != Z_OK) throw ModelFileError("gzip could not be started");
  const std::unique_ptr<z_stream, int (*)(z_stream*)> closer(&stream, inflateEnd);
  std::string text;
  std::vector<char> chunk(chunkSize);
  size_t position = 0;
  int state = Z_OK;
  for (;;) {
    if (stream.avail_in == 0 && position < bytes.size()) {
      const size_t piece = std::min(chunkSize, bytes.size() - position);
      stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(bytes.data() + position));
      stream.avail_in = static_cast<uInt>(piece);
      position += piece;
    }
    stream.next_out = reinterpret_cast<Bytef*>(chunk.data());
    stream.avail_out = static_cast<uInt>(chunk.size());
    state = inflate(&stream, Z_NO_FLUSH);
    if (state != Z_OK && state != Z_STREAM_END && state != Z_BUF_ERROR)
      throw ModelFileError("the gzip data is damaged");
    text.append(chunk.data(), chunk.size() - stream.avail_out);
    const bool atEnd = stream.avail_in == 0 && position == bytes.size();
    if (state == Z_STREAM_END) {
      const size_t next = position - stream.avail_in;
      const bool anotherMember = next + 1 < bytes.size() && bytes[next] == '\x1f' && bytes[next + 1] == '\x8b';
      if (!anotherMember) return text;
      inflateReset(&stream);
    } else if (atEnd && stream.avail_out != 0) {
      throw ModelFileError("the gzip data ends too early (truncated file)");
    }
  }
}

std::string inflateBzip2(const std::string& bytes) {
  std::string text;
  std::vector<char> chunk(chunkSize);
  size_t position = 0;
  while (position < bytes.size()) {
    bz_stream stream{};
    if (BZ2_bzDecompressInit(&stream, 0, 0) != BZ_OK) throw ModelFileError("bzip2 could not be started");
    const std::unique_ptr<bz_stream, int (*)(bz_stream*)> closer(&stream, BZ2_bzDecompressEnd);
    int state = BZ_OK;
    while (state != BZ_STREAM_END) {
      if (stream.avail_in == 0 && position < bytes.size()) {
        const size_t piece = std::min(chunkSize, bytes.size() - position);
        stream.next_in = const_cast<char*>(bytes.data() + position);
        stream.avail_in = static_cast<unsigned>(piece);
        position += piece;
      }
      stream.next_out = chunk.data();
      stream.avail_out = static_cast<unsigned>(chunk.size());
      state = BZ2_bzDecompress(&stream);
      if (state != BZ_OK && state != BZ_STREAM_END) throw ModelFileError("the bzip2 data is damaged");
      text.append(chunk.data(), chunk.size() - stream.avail_out);
      if (state == BZ_OK && stream.avail_in == 0 && position == bytes.size() && stream.avail_out != 0)
        throw ModelFileError("the bzip2 data ends too early (truncated file)");
    }
    position -= stream.avail_in;
    if (bytes.compare(position, 3, "BZh") != 0) break;  // padding behind the last stream
  }
  return text;
}

bool isText(const std::string& text) {
  return std::all_of(text.begin(), text.end(), [](char c) {
    const auto code = static_cast<unsigned char>(c);
    return code >= 0x20 ? code != 0x7f : (code >= '\t' && code <= '\r') || code == 0x1a;
  });
}

}  // namespace

std::string readFileText(const std::string& path) {
  return decompressedText(readBytes(path));
}

std::string decompressedText(std::string bytes) {
  std::string text = std::move(bytes);
  if (text.compare(0, 2, "\x1f\x8b") == 0) {
    text = inflateGzip(text);
  } else if (text.compare(0, 3, "BZh") == 0) {
    text = inflateBzip2(text);
  }
  if (text.compare(0, 3, "\xef\xbb\xbf") == 0) text.erase(0, 3);
  if (text.find_first_not_of(" \t\r\n\f\v\x1a") == std::string::npos) throw ModelFileError("is empty");
  if (!isText(text)) throw ModelFileError("is not a text file");
  return text;
}

}  // namespace qzfiles
