#include "compressed_lines.h"

namespace qzpresol {

int32_t CompressedLines::create(QzPool* pool, int32_t numLine, const int32_t* length) {
  pool_ = pool;
  numLine_ = numLine;
  if (begin_.allocate(pool, numLine) != QZ_STATUS_OK || length_.allocateZero(pool, numLine) != QZ_STATUS_OK ||
      room_.allocate(pool, numLine) != QZ_STATUS_OK)
    return QZ_STATUS_OUT_OF_MEMORY;
  int64_t total = 0;
  for (int32_t line = 0; line < numLine; ++line) {
    begin_[line] = total;
    room_[line] = length[line];
    total += length[line];
  }
  if (index_.makeRoom(total) != QZ_STATUS_OK || value_.makeRoom(total) != QZ_STATUS_OK) return QZ_STATUS_OUT_OF_MEMORY;
  index_.extend(total);
  value_.extend(total);
  return QZ_STATUS_OK;
}

int32_t CompressedLines::find(int32_t line, int32_t index) const {
  const int32_t* entry = this->index(line);
  const int32_t* end = entry + length_[line];
  const int32_t* found = std::find(entry, end, index);
  return found == end ? -1 : static_cast<int32_t>(found - entry);
}

int32_t CompressedLines::append(int32_t line, int32_t index, double value) {
  if (length_[line] == room_[line]) {
    const int32_t status = relocate(line);
    if (status != QZ_STATUS_OK) return status;
  }
  const int64_t position = begin_[line] + length_[line]++;
  index_[position] = index;
  value_[position] = value;
  return QZ_STATUS_OK;
}

void CompressedLines::drop(int32_t line, int32_t position) {
  const int64_t last = begin_[line] + --length_[line];
  index_[begin_[line] + position] = index_[last];
  value_[begin_[line] + position] = value_[last];
}

void CompressedLines::compact(int32_t line, const uint8_t* alive) {
  const int64_t end = begin_[line] + length_[line];
  int64_t kept = begin_[line];
  for (int64_t k = begin_[line]; k < end; ++k) {
    if (alive[index_[k]] == 0) continue;
    index_[kept] = index_[k];
    value_[kept++] = value_[k];
  }
  length_[line] = static_cast<int32_t>(kept - begin_[line]);
}

int32_t CompressedLines::relocate(int32_t line) {
  if (left_ > index_.size() / 2 && left_ > numLine_) {
    const int32_t status = collect();
    if (status != QZ_STATUS_OK) return status;
  }
  const int32_t length = length_[line];
  const int64_t room = std::max<int64_t>(int64_t{length} + 4, int64_t{length} + length / 2);
  if (room > INT32_MAX) return QZ_STATUS_OUT_OF_MEMORY;
  if (index_.makeRoom(room) != QZ_STATUS_OK || value_.makeRoom(room) != QZ_STATUS_OK) return QZ_STATUS_OUT_OF_MEMORY;
  const int64_t to = index_.extend(room);
  value_.extend(room);
  std::copy_n(index_.get() + begin_[line], length, index_.get() + to);
  std::copy_n(value_.get() + begin_[line], length, value_.get() + to);
  left_ += room_[line];
  begin_[line] = to;
  room_[line] = static_cast<int32_t>(room);
  return QZ_STATUS_OK;
}

// Moves all lines, without their spare room, into new arrays.
int32_t CompressedLines::collect() {
  int64_t total = 0;
  for (int32_t line = 0; line < numLine_; ++line) total += length_[line];
  GrowingArray<int32_t> index(pool_);
  GrowingArray<double> value(pool_);
  if (index.makeRoom(2 * total) != QZ_STATUS_OK || value.makeRoom(2 * total) != QZ_STATUS_OK)
    return QZ_STATUS_OUT_OF_MEMORY;
  for (int32_t line = 0; line < numLine_; ++line) {
    const int64_t to = index.extend(length_[line]);
    value.extend(length_[line]);
    std::copy_n(index_.get() + begin_[line], length_[line], index.get() + to);
    std::copy_n(value_.get() + begin_[line], length_[line], value.get() + to);
    begin_[line] = to;
    room_[line] = length_[line];
  }
  index_ = std::move(index);
  value_ = std::move(value);
  left_ = 0;
  return QZ_STATUS_OK;
}

}  // namespace qzpresol
