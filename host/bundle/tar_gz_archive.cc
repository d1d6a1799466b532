#include "host/bundle/tar_gz_archive.h"

#include <archive.h>
#include <archive_entry.h>

#include <algorithm>
#include <new>

namespace kxrtc_host {
namespace {

constexpr size_t kSkippedAtOnce = 4 * 1024 * 1024;
constexpr int kWritableFile = 0644;
constexpr int kReadOnlyFile = 0444;

struct EntryFree {
  void operator()(archive_entry* entry) const { archive_entry_free(entry); }
};

}  // namespace

void TarGzArchive::Close::operator()(archive* writer) const { archive_write_free(writer); }

TarGzArchive::TarGzArchive(OutputFile* output) : output_(output), writer_(archive_write_new()) {
  if (writer_ == nullptr) throw std::bad_alloc();
  const auto write = [](archive*, void* self, const void* data, size_t size) {
    auto* const that = static_cast<TarGzArchive*>(self);
    if (!that->output_->WriteAt(that->position_, data, size)) return la_ssize_t{-1};
    that->position_ += size;
    return static_cast<la_ssize_t>(size);
  };
  // Each failure stays in the writer and is found by the next call.
  (void)(Check(archive_write_set_format_pax_restricted(writer_.get())) &&
         Check(archive_write_add_filter_gzip(writer_.get())) &&
         Check(archive_write_set_filter_option(writer_.get(), "gzip", "timestamp", nullptr)) &&
         Check(archive_write_set_bytes_in_last_block(writer_.get(), 1)) &&
         Check(archive_write_open(writer_.get(), this, nullptr, write, nullptr)));
}

bool TarGzArchive::Check(int result) {
  if (result >= ARCHIVE_WARN) return error_text_.empty();
  if (!error_text_.empty()) return false;
  const char* const text = archive_error_string(writer_.get());
  error_text_ = output_->error_text();
  if (error_text_.empty()) error_text_ = std::string("the archive: ") + (text ? text : "failed");
  return false;
}

bool TarGzArchive::Begin(const ArchiveEntry& file) {
  if (!error_text_.empty()) return false;
  const std::unique_ptr<archive_entry, EntryFree> entry(archive_entry_new());
  if (entry == nullptr) throw std::bad_alloc();
  archive_entry_set_pathname(entry.get(), file.name.c_str());
  archive_entry_set_filetype(entry.get(), AE_IFREG);
  archive_entry_set_perm(entry.get(), file.is_writable ? kWritableFile : kReadOnlyFile);
  archive_entry_set_size(entry.get(), static_cast<la_int64_t>(file.size));
  archive_entry_set_mtime(entry.get(), 0, 0);
  if (file.has_holes) {
    for (const ArchiveEntry::Part& part : file.data) {
      archive_entry_sparse_add_entry(entry.get(), static_cast<la_int64_t>(part.begin),
                                     static_cast<la_int64_t>(part.end - part.begin));
    }
    if (file.data.empty()) archive_entry_sparse_add_entry(entry.get(), 0, 0);
  }
  return Check(archive_write_header(writer_.get(), entry.get()));
}

bool TarGzArchive::Write(const void* data, size_t size) {
  const auto* bytes = static_cast<const uint8_t*>(data);
  while (size > 0 && error_text_.empty()) {
    const la_ssize_t done = archive_write_data(writer_.get(), bytes, size);
    if (done <= 0) return Check(ARCHIVE_FATAL);
    bytes += done;
    size -= static_cast<size_t>(done);
  }
  return error_text_.empty();
}

// The writer passes over what it knows as a hole.
bool TarGzArchive::Skip(uint64_t size) {
  if (size > 0) zeros_.resize(kSkippedAtOnce);
  while (size > 0) {
    const auto piece = static_cast<size_t>(std::min<uint64_t>(size, kSkippedAtOnce));
    if (!Write(zeros_.data(), piece)) return false;
    size -= piece;
  }
  return true;
}

bool TarGzArchive::Finish() {
  return error_text_.empty() && Check(archive_write_close(writer_.get()));
}

std::string ArchiveLibraryVersion() { return archive_version_details(); }

}  // namespace kxrtc_host
