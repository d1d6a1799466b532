// The body of a Thread.
#ifndef KX_UTILITY_RUNNABLE_H_
#define KX_UTILITY_RUNNABLE_H_

#include "kx_utility/export.h"

namespace kx_utility {

class Thread;

// Slot order is binary interface: append only.
class KX_EXPORT Runnable {
 public:
  virtual ~Runnable() = default;

  // Runs on the new thread. Must not start or stop `thread` itself.
  virtual void Run(Thread* thread) = 0;

  // Asks Run() to return soon; called on the stopping thread and must not block.
  virtual void Stop() = 0;
};

}  // namespace kx_utility

#endif  // KX_UTILITY_RUNNABLE_H_
