// Descriptors of the operating system and their owner, File.
// Threads: a File belongs to one thread at a time; the functions may be called on any.
#ifndef KX_UTILITY_FILE_H_
#define KX_UTILITY_FILE_H_

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>

#include "kx_utility/export.h"

namespace kx_utility {

using PlatformFile = int32_t;
inline constexpr PlatformFile kInvalidPlatformFileValue = -1;

// Opens an existing file for reading and writing; -1 on failure. Child programs do not inherit it.
[[nodiscard]] KX_EXPORT PlatformFile OpenPlatformFile(const std::string& path);

// Creates or empties a file that only its owner may read and write; -1 on failure.
[[nodiscard]] KX_EXPORT PlatformFile CreatePlatformFile(const std::string& path);

KX_EXPORT bool RemoveFile(const std::string& path);

// Intended: true when closing FAILED, false when it succeeded.
KX_EXPORT bool ClosePlatformFile(PlatformFile fd);

// A C stream that takes over `fd`; null on failure, `fd` then stays with the caller.
[[nodiscard]] KX_EXPORT FILE* FdopenPlatformFileForWriting(PlatformFile fd);

// Owns one descriptor. Nothing is logged here: a failure shows as a false or as a count below the
// length asked for. Calls that a signal interrupts are repeated.
class KX_EXPORT File {
 public:
  File() = default;
  explicit File(PlatformFile fd) : fd_(fd) {}
  File(File&& other) noexcept;
  File(const File&) = delete;
  File& operator=(const File&) = delete;
  ~File();  // Calls Close().

  // Closes its own descriptor first. The source is left closed.
  File& operator=(File&& other) noexcept;

  // Not open when the platform function failed.
  [[nodiscard]] static File Open(const std::string& path);
  [[nodiscard]] static File Create(const std::string& path);
  static bool Remove(const std::string& path);

  bool IsOpen() const { return fd_ != kInvalidPlatformFileValue; }

  // False when it is not open or when the system reports a failure; closed afterwards in each case.
  bool Close();

  // At the descriptor's position, which moves on. Both stop early at a failure, Read also at the
  // end of the file; the result is the number of bytes done.
  size_t Write(const uint8_t* data, size_t length);
  [[nodiscard]] size_t Read(uint8_t* data, size_t length);

  // At `offset` bytes from the start; the descriptor's position stays.
  size_t WriteAt(const uint8_t* data, size_t length, size_t offset);
  [[nodiscard]] size_t ReadAt(uint8_t* data, size_t length, size_t offset);

  // Moves to `offset` bytes from the start. False from 2^63 on, or when the system refuses.
  [[nodiscard]] bool Seek(size_t offset);

  // On false `*position` is untouched, e.g. for a pipe.
  [[nodiscard]] bool CurrentPosition(size_t* position);

  // The size in bytes of an open regular file. On false `*size` is untouched.
  [[nodiscard]] bool GetSize(size_t* size) const;

  // Whether the file is open.
  // Intended: writes go straight to the descriptor, so there is nothing to flush, and the data is
  // not forced to the disk.
  bool Flush() { return IsOpen(); }

 private:
  PlatformFile fd_ = kInvalidPlatformFileValue;
};

}  // namespace kx_utility

#endif  // KX_UTILITY_FILE_H_
