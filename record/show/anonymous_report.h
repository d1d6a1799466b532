// Takes out of a report what tells who met where.
// Threads: any.
#ifndef RECORD_SHOW_ANONYMOUS_REPORT_H_
#define RECORD_SHOW_ANONYMOUS_REPORT_H_

#include <string>

namespace Json {
class Value;
}

namespace kxrtc_host {

// Of the data of a report page: people become "Speaker 1" and so on in the order in which they
// came; title, wall-clock time, pictures and video go, and so does the path of the record,
// `folder`, from all texts.
void MakeAnonymous(const std::string& folder, Json::Value* document);

}  // namespace kxrtc_host

#endif  // RECORD_SHOW_ANONYMOUS_REPORT_H_
