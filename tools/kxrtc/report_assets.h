// The parts of the report page, embedded from report_assets/ by the build.
#ifndef TOOLS_KXRTC_REPORT_ASSETS_H_
#define TOOLS_KXRTC_REPORT_ASSETS_H_

namespace kxrtc_tool {

extern const char kReportPage[];
extern const char kReportStyle[];
extern const char kReportScript[];

}  // namespace kxrtc_tool

#endif  // TOOLS_KXRTC_REPORT_ASSETS_H_
