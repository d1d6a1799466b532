// Records of any order and timing, valid or not.
#ifndef TESTS_TESTING_RANDOM_RECORD_H_
#define TESTS_TESTING_RANDOM_RECORD_H_

#include <cstdint>
#include <random>

#include "tests/testing/record_builder.h"

namespace kx_testing {

inline void WriteRandomRecord(std::mt19937_64* random, const TempDir& dir) {
  RecordBuilder builder(dir);
  int64_t time_us = static_cast<int64_t>((*random)() % 1000);
  builder.Start(time_us);
  const int records = static_cast<int>((*random)() % 120);
  for (int i = 0; i < records; ++i) {
    const int64_t steps[] = {1, 21333, 40000, 600000, -50000, 6000000};
    time_us += steps[(*random)() % 20 < 17 ? (*random)() % 3 : (*random)() % 6];
    switch ((*random)() % 32) {
      case 0:
        builder.Channel(time_us, kCamera);
        break;
      case 1:
        builder.Channel(time_us, (*random)() % 4 ? kDesktop : 0);
        break;
      case 2:
        if ((*random)() % 4 == 0) builder.Stop(time_us).Start(time_us + 5);
        break;
      case 3:
        builder.Attributes(time_us, 320, 180, 90);
        break;
      case 4:
        if ((*random)() % 20 == 0) builder.RawIndex("garbage");
        break;
      default:
        if ((*random)() % 3) {
          builder.Audio(time_us);
        } else if ((*random)() % 4) {
          builder.Delta(time_us);
        } else {
          builder.Key(time_us);
        }
    }
  }
  builder.Stop(time_us + 1).Write();
}

}  // namespace kx_testing

#endif  // TESTS_TESTING_RANDOM_RECORD_H_
