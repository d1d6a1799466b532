#include "record/speakers/talk_share.h"

namespace kxrtc_host {

std::vector<double> TalkShares(const std::vector<Person>& people) {
  double total_us = 0;
  for (const Person& person : people) total_us += static_cast<double>(person.heard_us);
  std::vector<double> shares;
  for (const Person& person : people) {
    shares.push_back(total_us > 0 ? 100 * static_cast<double>(person.heard_us) / total_us : 0);
  }
  return shares;
}

}  // namespace kxrtc_host
