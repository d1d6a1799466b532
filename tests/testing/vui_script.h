// The rewriting of a VUI (ITU-T H.264, annex E) as a list of steps, to compare the real one with.
#ifndef TESTS_TESTING_VUI_SCRIPT_H_
#define TESTS_TESTING_VUI_SCRIPT_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "tests/testing/bit_string.h"

namespace kx_testing {

// Which elements a VUI has. The values of the elements are of no importance.
struct VuiFields {
  bool aspect_ratio = false;
  bool extended_sar = false;
  bool overscan = false;
  bool video_signal = false;
  bool colour_description = false;
  bool chroma_loc = false;
  bool timing = false;
  int nal_hrd_count = 0;  // Number of schedules; 0: no parameters.
  int vcl_hrd_count = 0;
  bool restriction = false;
  uint32_t max_num_reorder_frames = 2;
  uint32_t max_dec_frame_buffering = 4;
};

// One step of the rewriting: what it reads, what it writes, and its messages when that fails.
struct Step {
  std::string read;
  std::string write;
  std::string read_text;
  std::string write_text;
  bool in_hrd = false;
  bool in_restriction = false;
};

// The rewriting of one VUI as a list, in the order in which it must happen.
class VuiScript {
 public:
  void Copy(int count, uint64_t value, const std::string& name = "bits_tmp") {
    const std::string bits = BitString().U(count, value).bits();
    const std::string n = std::to_string(count);
    Add({bits, bits, "(source)->ReadBits(&" + name + ", " + n + ")",
         "(destination)->WriteBits(" + name + ", " + n + ")"});
  }
  void CopyUe(uint32_t value, const std::string& name = "golomb_tmp") {
    const std::string bits = BitString().Ue(value).bits();
    Add({bits, bits, "(source)->ReadExponentialGolomb(&" + name + ")",
         "(destination)->WriteExponentialGolomb(" + name + ")"});
  }
  void Read(const std::string& bits, const std::string& text) { Add({bits, "", text, ""}); }
  void Write(const std::string& bits, const std::string& text) { Add({"", bits, "", text}); }

  void Hrd(int count) {
    in_hrd_ = true;
    CopyUe(static_cast<uint32_t>(count - 1), "cbp_cnt_minus1");
    Copy(8, 0x35);
    for (int i = 0; i < count; ++i) {
      CopyUe(1000 + static_cast<uint32_t>(i));
      CopyUe(70000);
      Copy(1, 1);
    }
    for (const uint64_t length : {23, 22, 5, 24}) Copy(5, length);
    in_hrd_ = false;
  }
  void Restriction(uint32_t max_num_ref_frames) {
    in_restriction_ = true;
    Write("1", "destination->WriteBits(1, 1)");
    for (const uint32_t value : {2, 1, 16, 16, 0}) {
      Write(BitString().Ue(value).bits(),
            "destination->WriteExponentialGolomb(" + std::to_string(value) + ")");
    }
    Write(BitString().Ue(max_num_ref_frames).bits(),
          "destination->WriteExponentialGolomb(max_num_ref_frames)");
    in_restriction_ = false;
  }

  static VuiScript NoVui(uint32_t max_num_ref_frames) {
    VuiScript script;
    script.Write("1", "destination->WriteBits(1, 1)");
    script.Write("00000000", "destination->WriteBits(0, 8)");
    script.Write("1", "destination->WriteBits(1, 1)");
    script.Restriction(max_num_ref_frames);
    return script;
  }

  static VuiScript Of(const VuiFields& vui, uint32_t max_num_ref_frames) {
    VuiScript script;
    script.Write("1", "destination->WriteBits(1, 1)");
    script.Flag(vui.aspect_ratio);
    if (vui.aspect_ratio) script.Copy(8, vui.extended_sar ? 255 : 1);
    if (vui.extended_sar) script.Copy(32, 0x00400033);
    script.Flag(vui.overscan);
    if (vui.overscan) script.Copy(1, 1);
    script.Flag(vui.video_signal);
    if (vui.video_signal) {
      script.Copy(4, 0xB);
      script.Flag(vui.colour_description);
      if (vui.colour_description) script.Copy(24, 0x010203);
    }
    script.Flag(vui.chroma_loc);
    if (vui.chroma_loc) script.CopyUe(3);
    if (vui.chroma_loc) script.CopyUe(0);
    script.Flag(vui.timing);
    if (vui.timing) {
      script.Copy(32, 1);
      script.Copy(32, 0xFFFFFFFF);
      script.Copy(1, 1);
    }
    script.HrdOf(vui.nal_hrd_count, "nal_hrd_parameters_present_flag");
    script.HrdOf(vui.vcl_hrd_count, "vcl_hrd_parameters_present_flag");
    if (vui.nal_hrd_count + vui.vcl_hrd_count > 0) script.Copy(1, 1);
    script.Copy(1, 1);
    script.Read(vui.restriction ? "1" : "0", "source->ReadBits(&bitstream_restriction_flag, 1)");
    script.Write("1", "destination->WriteBits(1, 1)");
    if (!vui.restriction) {
      script.Restriction(max_num_ref_frames);
      return script;
    }
    script.Copy(1, 0);
    for (const uint32_t value : {3, 0, 11, 12}) script.CopyUe(value);
    script.Read(BitString().Ue(vui.max_num_reorder_frames).bits(),
                "source->ReadExponentialGolomb(&max_num_reorder_frames)");
    script.Read(BitString().Ue(vui.max_dec_frame_buffering).bits(),
                "source->ReadExponentialGolomb(&max_dec_frame_buffering)");
    if (vui.max_num_reorder_frames == 0 && vui.max_dec_frame_buffering <= max_num_ref_frames) {
      return script;
    }
    script.Write("1", "destination->WriteExponentialGolomb(0)");
    script.Write(BitString().Ue(max_num_ref_frames).bits(),
                 "destination->WriteExponentialGolomb(sps.max_num_ref_frames)");
    return script;
  }

  std::string source() const {
    std::string bits;
    for (const Step& step : steps_) bits += step.read;
    return bits;
  }
  std::string destination() const {
    std::string bits;
    for (const Step& step : steps_) bits += step.write;
    return bits;
  }

  // The messages when the source has `source_size` bits and the destination `destination_size`.
  std::vector<std::string> Messages(size_t source_size, size_t destination_size) const {
    size_t read = 0;
    size_t written = 0;
    for (const Step& step : steps_) {
      if ((read += step.read.size()) > source_size) return Cascade(step, step.read_text);
      if ((written += step.write.size()) > destination_size) return Cascade(step, step.write_text);
    }
    return {};
  }

 private:
  void Add(Step step) {
    step.in_hrd = in_hrd_;
    step.in_restriction = in_restriction_;
    steps_.push_back(step);
  }
  void Flag(bool value) { Copy(1, value ? 1 : 0); }
  void HrdOf(int count, const std::string& name) {
    Copy(1, count > 0 ? 1 : 0, name);
    if (count > 0) Hrd(count);
  }
  static std::vector<std::string> Cascade(const Step& step, const std::string& text) {
    std::vector<std::string> lines = {text};
    if (step.in_hrd) lines.emplace_back("CopyHrdParameters(source, destination)");
    if (step.in_restriction) {
      lines.emplace_back("AddBitstreamRestriction(destination, sps.max_num_ref_frames)");
    }
    return lines;
  }

  std::vector<Step> steps_;
  bool in_hrd_ = false;
  bool in_restriction_ = false;
};

}  // namespace kx_testing

#endif  // TESTS_TESTING_VUI_SCRIPT_H_
