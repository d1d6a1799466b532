// The JSON document of a record of an archive (docs/tool_list.md).
// Threads: any.
#ifndef RECORD_SHOW_LIST_DOCUMENT_H_
#define RECORD_SHOW_LIST_DOCUMENT_H_

#include <string>

#include "record/archive/record_glance.h"

namespace Json {
class Value;
}

namespace kxrtc_host {

// A record of an archive, and what is known of its MP4.
struct ArchivedRecord {
  std::string folder;
  RecordGlance glance;
  std::string output;  // Path of the MP4; empty where no folder is given for it.
  bool is_due = false;
};

Json::Value ListDocument(const ArchivedRecord& record);

}  // namespace kxrtc_host

#endif  // RECORD_SHOW_LIST_DOCUMENT_H_
