#include "host/h264/h264_inspector.h"

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <vector>

#include "files/sequential_file.h"
#include "host/h264/sps_rewriting_copy.h"
#include "kx_utility/bitbuffer.h"
#include "kxrtc/media/video/h264/nal_unit.h"

namespace kxrtc_host {
namespace {

using kxrtc::PpsParser;
using kxrtc::SpsParser;
namespace H264 = kxrtc::H264;

// Small units take long to list, and a stop is looked for between blocks.
constexpr size_t kBlockSize = 64 * 1024;

// The rules of clause 7.4.1 for nal_ref_idc. Streams of other codecs break them.
bool ReferenceFits(const StreamNalUnit& unit) {
  const bool is_reference = H264::ParseNalRefIdc(unit.head[0]) != 0;
  switch (unit.type()) {
    case H264::kNaluTypeIdr:
    case H264::kNaluTypeSps:
    case H264::kNaluTypePps:
      return is_reference;
    case H264::kNaluTypeSei:
    case H264::kNaluTypeAccessUnitDelimiter:
    case H264::kNaluTypeEndOfSequence:
    case H264::kNaluTypeEndOfStream:
    case H264::kNaluTypeFiller:
      return !is_reference;
    default:
      return true;
  }
}

// Of a picture that may be shown before one that is coded before it (ITU-T H.264, table 7-6).
bool IsBSlice(const StreamNalUnit& unit) {
  constexpr uint32_t kTypesOfSlices = 5;  // From there on they repeat, for pictures of one type.
  constexpr uint32_t kTypeB = 1;
  if (!H264::HasSliceHeader(unit.type())) return false;
  const auto rbsp =
      H264::ParseRbsp(unit.head.data() + 1, static_cast<uint32_t>(unit.head.size()) - 1);
  kx_utility::BitBuffer reader(rbsp.data(), static_cast<uint32_t>(rbsp.size()));
  uint32_t first_mb = 0;
  uint32_t slice_type = 0;
  return reader.ReadExponentialGolomb(&first_mb) && reader.ReadExponentialGolomb(&slice_type) &&
         slice_type % kTypesOfSlices == kTypeB;
}

}  // namespace

const char* NalUnitTypeName(uint8_t type) {
  static constexpr const char* kNames[] = {
      "unspecified",
      "slice of a non-IDR picture",
      "slice data partition A",
      "slice data partition B",
      "slice data partition C",
      "slice of an IDR picture",
      "supplemental enhancement information",
      "sequence parameter set",
      "picture parameter set",
      "access unit delimiter",
      "end of sequence",
      "end of stream",
      "filler data",
      "sequence parameter set extension",
      "prefix NAL unit",
      "subset sequence parameter set",
      "depth parameter set",
      "reserved",
      "reserved",
      "slice of an auxiliary coded picture",
      "slice extension",
      "slice extension for depth",
      "reserved",
      "reserved",
  };
  return type < std::size(kNames) ? kNames[type] : "unspecified";
}

H264Inspector::H264Inspector(H264InspectorObserver* observer)
    : observer_(observer), splitter_([this](const StreamNalUnit& unit) { return OnUnit(unit); }) {}

H264Inspector::~H264Inspector() = default;

InspectionResult H264Inspector::FailWith(InspectionResult result, const std::string& text) {
  error_text_ = text;
  return result;
}

InspectionResult H264Inspector::FailCopy(InspectionResult result) {
  if (copy_->file().error_number() == ECANCELED) return InspectionResult::kStopped;
  return FailWith(result, copy_->file().error_text());
}

InspectionResult H264Inspector::Inspect(const InspectionOptions& options) {
  SequentialFile file;
  if (!file.Open(options.input)) {
    return FailWith(InspectionResult::kUnreadable,
                    "cannot open " + options.input + ": " + file.error());
  }
  const IsWanted is_wanted = [this] { return observer_->IsWanted(); };
  if (!options.copy.empty()) {
    copy_ = std::make_unique<SpsRewritingCopy>(&splitter_);
    if (!copy_->Open(options.copy, options.replace_existing, is_wanted)) {
      return FailCopy(InspectionResult::kOutputRefused);
    }
  }
  file.set_is_wanted(is_wanted);
  const InspectionResult result = ReadThrough(&file, options.input);
  if (result != InspectionResult::kOk || copy_ == nullptr) return result;
  if (!copy_->Commit()) {
    return FailCopy(copy_->file().error_number() == EEXIST ? InspectionResult::kOutputRefused
                                                           : InspectionResult::kOutputFailed);
  }
  warning_text_ = copy_->file().warning_text();
  if (shows_other_order()) {
    warning_text_ = options.input + " has B pictures, which are shown in another order than they " +
                    "are coded; a decoder shows those of " + options.copy +
                    " in the wrong order or leaves some out; use the original";
  }
  return InspectionResult::kOk;
}

InspectionResult H264Inspector::ReadThrough(SequentialFile* file, const std::string& name) {
  std::vector<uint8_t> block(kBlockSize);
  bool goes_on = true;
  while (goes_on) {
    size_t size = 0;
    const SequentialFile::Result result = file->Read(block.data(), block.size(), &size);
    if (result == SequentialFile::Result::kStopped) return InspectionResult::kStopped;
    if (result == SequentialFile::Result::kFailed) {
      return FailWith(InspectionResult::kUnreadable, "cannot read " + name + ": " + file->error());
    }
    if (result == SequentialFile::Result::kEnd) break;
    goes_on = BeginsWithStartCode(block.data(), size) && splitter_.Push(block.data(), size);
    if (goes_on && copy_ != nullptr) goes_on = copy_->OnWindow();
  }
  if (goes_on) goes_on = splitter_.Finish();
  if (goes_on && copy_ != nullptr) goes_on = copy_->OnWindow();
  if (!is_h264_ || (goes_on && nal_units_ == 0)) {
    return FailWith(InspectionResult::kUnreadable, name + " is not an H.264 byte stream");
  }
  if (!goes_on) return FailCopy(InspectionResult::kOutputFailed);
  EndAccessUnit(splitter_.end());
  return InspectionResult::kOk;
}

bool H264Inspector::BeginsWithStartCode(const uint8_t* block, size_t size) {
  if (has_start_code_) return true;
  const auto* first = std::find_if(block, block + size, [](uint8_t byte) { return byte != 0; });
  leading_zeros_ += static_cast<uint64_t>(first - block);
  if (first == block + size) return true;
  has_start_code_ = *first == 1 && leading_zeros_ >= 2;
  is_h264_ = has_start_code_;
  return has_start_code_;
}

bool H264Inspector::LooksLikeH264(const StreamNalUnit& first) const {
  const uint8_t start[] = {0, 0, 1, first.head[0]};
  return (first.head[0] & 0x80) == 0 && ReferenceFits(first) &&
         H264::IsValidFrame(start, sizeof(start));
}

bool H264Inspector::OnUnit(const StreamNalUnit& unit) {
  if (nal_units_ == 0 && !LooksLikeH264(unit)) {
    is_h264_ = false;
    return false;
  }
  NalUnitReport report;
  report.number = nal_units_;
  report.offset = unit.start_offset;
  report.start_code_size = static_cast<uint32_t>(unit.header_offset - unit.start_offset);
  report.size = unit.size;
  report.type = unit.type();
  report.nal_ref_idc = H264::ParseNalRefIdc(unit.head[0]);
  if (copy_ != nullptr && report.type == H264::kNaluTypeSps) {
    if (!copy_->OnSps(unit, &report.rewriting.emplace())) return false;
    is_rewritten_ |= report.rewriting == kxrtc::SpsVuiRewriter::ParseResult::kVuiRewritten;
  }
  has_b_slices_ |= IsBSlice(unit);
  const auto head_size = static_cast<uint32_t>(unit.head.size());
  if (tracker_.BeginsAccessUnit(unit.head.data(), head_size)) {
    EndAccessUnit(unit.start_offset);
    access_unit_.offset = unit.start_offset;
  }
  report.access_unit = access_unit_.number;
  Describe(unit, &report);
  access_unit_.is_key_frame |= report.type == H264::kNaluTypeIdr;
  ++access_unit_.nal_units;
  ++nal_units_;
  observer_->OnNalUnit(report);
  return true;
}

void H264Inspector::Describe(const StreamNalUnit& unit, NalUnitReport* report) {
  const uint8_t* payload = unit.head.data() + 1;
  const auto size = static_cast<uint32_t>(unit.head.size() - 1);
  if (report->type == H264::kNaluTypeSps) {
    SpsParser::SpsState sps;
    if (!SpsParser::ParseSps(payload, size, sps)) return;
    report->sps = sps;
  } else if (report->type == H264::kNaluTypePps) {
    const auto pps = PpsParser::ParsePps(payload, size);
    if (pps == nullptr) return;
    report->pps = *pps;
  } else if (H264::HasSliceHeader(report->type)) {
    const auto pps_id = PpsParser::ParsePpsIdFromSlice(payload, size);
    if (pps_id != nullptr) report->pps_id = *pps_id;
  }
}

void H264Inspector::EndAccessUnit(uint64_t end) {
  if (access_unit_.nal_units == 0) return;
  access_unit_.size = end - access_unit_.offset;
  observer_->OnAccessUnit(access_unit_);
  const uint64_t next = access_unit_.number + 1;
  access_unit_ = AccessUnitReport();
  access_unit_.number = next;
}

}  // namespace kxrtc_host
