// The priority of threads that must be punctual.
#ifndef HOST_CONFERENCE_THREAD_PRIORITY_H_
#define HOST_CONFERENCE_THREAD_PRIORITY_H_

#include <pthread.h>
#include <sched.h>

namespace kxrtc_host {

// Asks the system to run the calling thread as soon as it wakes up: media get the time at which
// they are sent. Without permission the thread keeps its priority, which is enough unless the
// machine is overloaded.
inline void AskForPunctualThread() {
  sched_param parameters = {};
  parameters.sched_priority = sched_get_priority_min(SCHED_RR);
  (void)pthread_setschedparam(pthread_self(), SCHED_RR, &parameters);
}

}  // namespace kxrtc_host

#endif  // HOST_CONFERENCE_THREAD_PRIORITY_H_
