#include <libdatasrc/DataFileError.h>
#include <libdatasrc/internal/BlockReader.h>
#include <libdatasrc/SystemFileDataSource.h>

#include <algorithm>

namespace sdm_internal {

bool BlockReader::Next(std::size_t bytes, RecordBlock& block) {
  std::size_t capacity = std::max({bytes, 2 * rest_.size(), FileText::kLeastSize});
  char* const start = block.Reserve(capacity, 0);
  std::size_t size = rest_.copy(start, rest_.size());
  rest_.clear();
  for (;; capacity *= 2) {
    char* const buffer = block.Reserve(capacity, size);
    size += Fill(buffer + size, capacity - size);
    const std::string_view text(buffer, size);
    const bool isLast = isAtEnd_ && error_ == nullptr;
    const std::size_t end = isLast ? size : EndOfLastRecord(text);
    const bool isWrong = end == 0 && size > SystemFileDataSource::kMaxRecordBytes;
    if (end == 0 && !isWrong && !isAtEnd_) continue;
    if (end == 0 && error_ != nullptr) std::rethrow_exception(error_);
    rest_ = isWrong ? std::string_view() : text.substr(end);
    block.SetText(isWrong ? size : end, isLast);
    textBytes_ += block.Text().size();
    return !block.Text().empty();
  }
}

// Reads until fewer than FileText::kLeastSize bytes are free or the file ends. Stores a
// DataFileError in error_, and treats it like the end of the file.
std::size_t BlockReader::Fill(char* to, std::size_t size) {
  std::size_t filled = 0;
  while (!isAtEnd_ && size - filled >= FileText::kLeastSize) {
    try {
      const std::size_t got = file_.Read(to + filled, size - filled);
      filled += got;
      isAtEnd_ = got == 0;
    } catch (const DataFileError&) {
      error_ = std::current_exception();
      isAtEnd_ = true;
    }
  }
  return filled;
}

}  // namespace sdm_internal
