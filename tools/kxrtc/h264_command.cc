#include <json/value.h>

#include <CLI/CLI.hpp>
#include <cinttypes>
#include <cstdio>
#include <memory>
#include <string>

#include "files/is_wanted.h"
#include "host/h264/h264_inspector.h"
#include "kxrtc/media/video/h264/nal_unit.h"
#include "record/index/record_text.h"
#include "tools/kxrtc/commands.h"
#include "tools/kxrtc/exit_status.h"
#include "tools/kxrtc/json_line.h"
#include "tools/kxrtc/stop_signals.h"

namespace kxrtc_tool {
namespace {

using kxrtc::PpsParser;
using kxrtc::SpsParser;
using kxrtc::SpsVuiRewriter;
using kxrtc_host::AccessUnitReport;
using kxrtc_host::InspectionResult;
using kxrtc_host::NalUnitReport;
namespace H264 = kxrtc::H264;

struct H264Options {
  kxrtc_host::InspectionOptions inspection;
  bool json = false;
};

constexpr char kH264Footer[] =
    "FILE is an elementary stream with start codes, such as the .264 file of a\n"
    "record. The copy differs from FILE only in its sequence parameter sets: a\n"
    "decoder shows each picture of the copy at once. The copy appears only when it is\n"
    "complete.\n"
    "\n"
    "Examples:\n"
    "  kxrtc h264 camera.264\n"
    "  kxrtc h264 camera.264 --json | jq 'select(.key_frame)'\n"
    "  kxrtc h264 camera.264 --rewrite-vui low_delay.264\n";

const char* ResultName(SpsVuiRewriter::ParseResult result) {
  switch (result) {
    case SpsVuiRewriter::ParseResult::kPocTypeOk:
      return "poc_type_ok";
    case SpsVuiRewriter::ParseResult::kVuiOk:
      return "vui_ok";
    case SpsVuiRewriter::ParseResult::kVuiRewritten:
      return "vui_rewritten";
    case SpsVuiRewriter::ParseResult::kFailure:
      break;
  }
  return "failure";
}

bool CallsForParsing(uint8_t type) {
  return type == H264::kNaluTypeSps || type == H264::kNaluTypePps || H264::HasSliceHeader(type);
}

bool IsParsed(const NalUnitReport& report) { return report.sps || report.pps || report.pps_id; }

// Lines for people.
class TablePrinter : public kxrtc_host::H264InspectorObserver {
 public:
  void OnNalUnit(const NalUnitReport& report) override {
    if (report.number == 0) {
      std::printf("%14s %12s %3s  %s\n", "offset", "size", "ref", "NAL unit");
    }
    std::printf("%14" PRIu64 " %12" PRIu64 " %3d  %2d %s%s\n", report.offset, report.size,
                report.nal_ref_idc, report.type, kxrtc_host::NalUnitTypeName(report.type),
                Details(report).c_str());
  }

  void OnAccessUnit(const AccessUnitReport& report) override {
    std::printf("%14s %12" PRIu64 "      access unit %" PRIu64 "%s\n", "=", report.size,
                report.number, report.is_key_frame ? ", key frame" : "");
  }

 private:
  static std::string Details(const NalUnitReport& report) {
    std::string text;
    if (CallsForParsing(report.type) && !IsParsed(report)) text += ", cannot be parsed";
    if (report.sps) text += Sps(*report.sps);
    if (report.pps) text += Pps(*report.pps);
    if (report.pps_id) text += ", PPS " + std::to_string(*report.pps_id);
    if (report.rewriting) text += std::string(", ") + ResultName(*report.rewriting);
    return text;
  }

  static std::string Sps(const SpsParser::SpsState& sps) {
    return " " + std::to_string(sps.id) + ", " + std::to_string(sps.width) + "x" +
           std::to_string(sps.height) + (sps.frame_mbs_only_flag != 0 ? "" : ", fields") +
           ", POC type " + std::to_string(sps.pic_order_cnt_type) + ", " +
           kxrtc_host::CountText(sps.max_num_ref_frames, "reference frame") +
           (sps.vui_params_present != 0 ? ", VUI" : "");
  }

  static std::string Pps(const PpsParser::PpsState& pps) {
    return " " + std::to_string(pps.id) + " of SPS " + std::to_string(pps.sps_id) + ", " +
           (pps.entropy_coding_mode_flag ? "CABAC" : "CAVLC") + ", QP " +
           std::to_string(pps.pic_init_qp_minus26 + 26) +
           (pps.weighted_pred_flag ? ", weighted" : "");
  }
};

// Lines for programs.
class JsonPrinter : public kxrtc_host::H264InspectorObserver {
 public:
  void OnNalUnit(const NalUnitReport& report) override {
    Json::Value line = EventLine("nal_unit");
    line["nal_unit"] = Json::UInt64{report.number};
    line["access_unit"] = Json::UInt64{report.access_unit};
    line["offset"] = Json::UInt64{report.offset};
    line["start_code_size"] = report.start_code_size;
    line["size"] = Json::UInt64{report.size};
    line["type"] = report.type;
    line["type_name"] = kxrtc_host::NalUnitTypeName(report.type);
    line["nal_ref_idc"] = report.nal_ref_idc;
    if (CallsForParsing(report.type)) line["parsed"] = IsParsed(report);
    if (report.sps) line["sps"] = Sps(*report.sps);
    if (report.pps) line["pps"] = Pps(*report.pps);
    if (report.pps_id) line["pps_id"] = *report.pps_id;
    if (report.rewriting) line["rewriting"] = ResultName(*report.rewriting);
    PrintJsonLine(line);
  }

  void OnAccessUnit(const AccessUnitReport& report) override {
    Json::Value line = EventLine("access_unit");
    line["access_unit"] = Json::UInt64{report.number};
    line["offset"] = Json::UInt64{report.offset};
    line["size"] = Json::UInt64{report.size};
    line["nal_units"] = Json::UInt64{report.nal_units};
    line["key_frame"] = report.is_key_frame;
    PrintJsonLine(line);
  }

 private:
  static Json::Value Sps(const SpsParser::SpsState& sps) {
    Json::Value value;
    value["id"] = sps.id;
    value["width"] = sps.width;
    value["height"] = sps.height;
    value["delta_pic_order_always_zero_flag"] = sps.delta_pic_order_always_zero_flag;
    value["separate_colour_plane_flag"] = sps.separate_colour_plane_flag;
    value["frame_mbs_only_flag"] = sps.frame_mbs_only_flag;
    value["log2_max_frame_num_minus4"] = sps.log2_max_frame_num_minus4;
    value["log2_max_pic_order_cnt_lsb_minus4"] = sps.log2_max_pic_order_cnt_lsb_minus4;
    value["pic_order_cnt_type"] = sps.pic_order_cnt_type;
    value["max_num_ref_frames"] = sps.max_num_ref_frames;
    value["vui_params_present"] = sps.vui_params_present;
    return value;
  }

  static Json::Value Pps(const PpsParser::PpsState& pps) {
    Json::Value value;
    value["id"] = pps.id;
    value["sps_id"] = pps.sps_id;
    value["entropy_coding_mode_flag"] = pps.entropy_coding_mode_flag;
    value["bottom_field_pic_order_in_frame_present_flag"] =
        pps.bottom_field_pic_order_in_frame_present_flag;
    value["weighted_pred_flag"] = pps.weighted_pred_flag;
    value["weighted_bipred_idc"] = pps.weighted_bipred_idc;
    value["pic_init_qp_minus26"] = pps.pic_init_qp_minus26;
    value["redundant_pic_cnt_present_flag"] = pps.redundant_pic_cnt_present_flag;
    return value;
  }
};

// A printer that a signal stops, so that no partial copy stays.
template <typename Printer>
class Stoppable : public Printer {
 public:
  explicit Stoppable(StopSignals* signals) : signals_(signals) {}
  bool IsWanted() override { return !signals_->IsStopped(); }

 private:
  StopSignals* signals_;
};

ExitStatus StatusOf(InspectionResult result, const StopSignals& signals) {
  switch (result) {
    case InspectionResult::kOk:
      return kExitOk;
    case InspectionResult::kStopped:
      return signals.exit_status();
    case InspectionResult::kUnreadable:
      return kExitRecordUnreadable;
    case InspectionResult::kOutputRefused:
      return kExitOutputRefused;
    case InspectionResult::kOutputFailed:
      return kExitOutputFailed;
  }
  return kExitFailure;
}

ExitStatus Inspect(const H264Options& options) {
  StopSignals signals;
  std::unique_ptr<kxrtc_host::H264InspectorObserver> printer;
  if (options.json) {
    printer = std::make_unique<Stoppable<JsonPrinter>>(&signals);
  } else {
    printer = std::make_unique<Stoppable<TablePrinter>>(&signals);
  }
  kxrtc_host::H264Inspector inspector(printer.get());
  const InspectionResult result = inspector.Inspect(options.inspection);
  std::fflush(stdout);
  const ExitStatus status = StatusOf(result, signals);
  if (!inspector.warning_text().empty()) Warn(inspector.warning_text());
  if (result == InspectionResult::kStopped && !options.inspection.copy.empty()) {
    return Fail(status, kxrtc_host::kStoppedText);
  }
  if (result == InspectionResult::kOk && inspector.shows_other_order()) return kExitWarningsFound;
  if (inspector.error_text().empty()) return status;
  const bool may_exist = result == InspectionResult::kOutputRefused;
  return Fail(status,
              inspector.error_text() + (may_exist ? HintAtForce(options.inspection.copy,
                                                                options.inspection.replace_existing)
                                                  : ""));
}

}  // namespace

void AddH264Command(CLI::App& app, PathOptions* paths, int* exit_status) {
  auto options = std::make_shared<H264Options>();
  CLI::App* command =
      app.add_subcommand("h264", "List the NAL units, parameter sets and key frames of a stream");
  paths->AddFile(command, "FILE", &options->inspection.input, "H.264 byte stream");
  command->add_flag("-j,--json", options->json, "Print one line of JSON for each unit");
  CLI::Option* copy = paths->AddFile(command, "--rewrite-vui", &options->inspection.copy,
                                     "Write a copy that a decoder can show without delay");
  command
      ->add_flag("-f,--force", options->inspection.replace_existing,
                 "Replace the copy if it exists")
      ->needs(copy);
  command->footer(kH264Footer);
  command->callback([options, exit_status] { *exit_status = Inspect(*options); });
}

}  // namespace kxrtc_tool
