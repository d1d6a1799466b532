#include "record/speakers/person_names.h"

#include "record/speakers/utf8.h"

namespace kxrtc_host {

std::string UnnamedPerson(uint32_t user_id) { return "user " + std::to_string(user_id); }

std::string AnonymousPerson(uint64_t number) { return "Speaker " + std::to_string(number); }

PersonNames::PersonNames(const std::vector<Person>& people) {
  for (const Person& person : people) names_[person.user_id] = OneLine(person.name);
}

std::string PersonNames::NameOf(uint32_t user_id) const {
  const auto name = names_.find(user_id);
  return name == names_.end() || name->second.empty() ? UnnamedPerson(user_id) : name->second;
}

}  // namespace kxrtc_host
