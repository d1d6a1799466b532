// The scheduling of the threads that keep time.
#ifndef HOST_CONFERENCE_THREAD_PRIORITY_H_
#define HOST_CONFERENCE_THREAD_PRIORITY_H_

#include <pthread.h>
#include <sched.h>

namespace kxrtc_host {

// Asks that the calling thread, which mostly sleeps, runs as soon as it wakes up: the moment at
// which media are sent is the time they get in the record. Where the system does not permit it the
// thread stays an ordinary one, which is as good on a machine that is not overloaded.
inline void AskForPunctualThread() {
  sched_param parameters = {};
  parameters.sched_priority = sched_get_priority_min(SCHED_RR);
  (void)pthread_setschedparam(pthread_self(), SCHED_RR, &parameters);
}

}  // namespace kxrtc_host

#endif  // HOST_CONFERENCE_THREAD_PRIORITY_H_
