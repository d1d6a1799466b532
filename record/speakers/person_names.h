// The names of people by their user id.
// Threads: any.
#ifndef RECORD_SPEAKERS_PERSON_NAMES_H_
#define RECORD_SPEAKERS_PERSON_NAMES_H_

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "record/speakers/speaker_timeline.h"

namespace kxrtc_host {

// The name of a person whom nobody named: "user 7".
std::string UnnamedPerson(uint32_t user_id);

// The name that stands for the one of a person who shall not be known: "Speaker 1" for the first.
std::string AnonymousPerson(uint64_t number);

class PersonNames {
 public:
  explicit PersonNames(const std::vector<Person>& people);

  // On one line (OneLine()), never empty.
  std::string NameOf(uint32_t user_id) const;

 private:
  std::map<uint32_t, std::string> names_;
};

}  // namespace kxrtc_host

#endif  // RECORD_SPEAKERS_PERSON_NAMES_H_
