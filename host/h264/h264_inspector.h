// Inspects an H.264 byte stream file: NAL units, parameter sets and access units. Can copy it with
// rewritten sequence parameter sets (docs/h264.md).
// Threads: an object belongs to one thread at a time.
#ifndef HOST_H264_H264_INSPECTOR_H_
#define HOST_H264_H264_INSPECTOR_H_

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "kxrtc/media/video/h264/pps_parser.h"
#include "kxrtc/media/video/h264/sps_parser.h"
#include "kxrtc/media/video/h264/sps_vui_rewriter.h"
#include "record/stream/access_unit_tracker.h"
#include "record/stream/nal_stream_splitter.h"

namespace kxrtc_host {

class SequentialFile;
class SpsRewritingCopy;

// The meaning of nal_unit_type (ITU-T H.264, table 7-1).
const char* NalUnitTypeName(uint8_t type);

// One NAL unit.
struct NalUnitReport {
  uint64_t number = 0;       // Counted from 0.
  uint64_t access_unit = 0;  // Counted from 0.
  uint64_t offset = 0;       // Bytes from the start of the file to the start code.
  uint32_t start_code_size = 0;
  uint64_t size = 0;  // Bytes from the header byte to the next start code.
  uint8_t type = 0;
  uint8_t nal_ref_idc = 0;
  // The parsed content for this type; missing if it cannot be parsed.
  std::optional<kxrtc::SpsParser::SpsState> sps;
  std::optional<kxrtc::PpsParser::PpsState> pps;
  std::optional<uint32_t> pps_id;  // Of a slice.
  // With a copy: the result for the SPS.
  std::optional<kxrtc::SpsVuiRewriter::ParseResult> rewriting;
};

// One access unit, reported after its last NAL unit.
struct AccessUnitReport {
  uint64_t number = 0;
  uint64_t offset = 0;  // Of its first start code.
  uint64_t size = 0;    // Bytes up to the next access unit or the end of the file.
  uint64_t nal_units = 0;
  bool is_key_frame = false;  // True if it contains an IDR slice.
};

class H264InspectorObserver {
 public:
  virtual ~H264InspectorObserver() = default;
  virtual void OnNalUnit(const NalUnitReport& report) = 0;
  virtual void OnAccessUnit(const AccessUnitReport& report) = 0;
  // Asked from time to time; false stops the inspection.
  virtual bool IsWanted() = 0;
};

enum class InspectionResult {
  kOk,
  kStopped,        // The observer stopped it.
  kUnreadable,     // The input cannot be opened or read, or is not an H.264 byte stream.
  kOutputRefused,  // The copy could not be created, or a file of its name exists.
  kOutputFailed,   // Writing the copy failed.
};

struct InspectionOptions {
  std::string input;
  std::string copy;  // Empty: no copy.
  bool replace_existing = false;
};

// Uses a few megabytes for any file.
class H264Inspector {
 public:
  // `observer` is borrowed for the life of the object.
  explicit H264Inspector(H264InspectorObserver* observer);
  ~H264Inspector();

  // Reads the whole file. The copy appears under its name only on kOk. On any other result except
  // kStopped, error_text() says why.
  [[nodiscard]] InspectionResult Inspect(const InspectionOptions& options);

  const std::string& error_text() const { return error_text_; }

  // True when a decoder shows the pictures of the complete copy in another order than those of the
  // input: it must not reorder B pictures any more.
  bool shows_other_order() const { return is_rewritten_ && has_b_slices_; }

  // What the user of a complete copy must know; empty: nothing.
  const std::string& warning_text() const { return warning_text_; }

 private:
  InspectionResult FailWith(InspectionResult result, const std::string& text);
  InspectionResult FailCopy(InspectionResult result);
  InspectionResult ReadThrough(SequentialFile* file, const std::string& name);
  bool BeginsWithStartCode(const uint8_t* block, size_t size);
  bool OnUnit(const StreamNalUnit& unit);
  bool LooksLikeH264(const StreamNalUnit& first) const;
  void Describe(const StreamNalUnit& unit, NalUnitReport* report);
  void EndAccessUnit(uint64_t end);

  H264InspectorObserver* observer_;
  NalStreamSplitter splitter_;
  AccessUnitTracker tracker_;
  std::unique_ptr<SpsRewritingCopy> copy_;
  uint64_t nal_units_ = 0;
  bool is_h264_ = true;
  bool is_rewritten_ = false;  // An SPS of the copy.
  bool has_b_slices_ = false;
  bool has_start_code_ = false;
  uint64_t leading_zeros_ = 0;
  AccessUnitReport access_unit_;
  std::string error_text_;
  std::string warning_text_;
};

}  // namespace kxrtc_host

#endif  // HOST_H264_H264_INSPECTOR_H_
