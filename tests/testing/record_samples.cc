#include "tests/testing/record_samples.h"

namespace kx_testing {

std::string KeyFrame640x360() {
  // Baseline, 40x23 macroblocks with 8 rows cropped (ITU-T H.264, 7.3.2.1.1), a picture parameter
  // set, then an IDR slice.
  return std::string("\0\0\0\1\x67\x42\xC0\x1E\xDA\x02\x80\xBF\xE5\x40", 14) +
         std::string("\0\0\0\1\x68\xCE\x3C\x80", 8) + std::string("\0\0\0\1\x65key", 8);
}

std::string WithAdts(const std::string& frame, int channels, int rate_index) {
  const size_t size = frame.size() + 7;
  const int bytes[] = {0xFF,
                       0xF1,
                       1 << 6 | rate_index << 2 | channels >> 2,
                       (channels & 3) << 6 | static_cast<int>(size >> 11),
                       static_cast<int>(size >> 3 & 0xFF),
                       static_cast<int>((size & 7) << 5) | 0x1F,
                       0xFC};
  std::string result;
  for (int byte : bytes) result += static_cast<char>(byte);
  return result + frame;
}

std::string AdtsFrame(uint32_t sample_rate_index, uint32_t channels) {
  // One channel pair of no spectral bands (ISO/IEC 14496-3, table 4.5), and the end.
  const std::string silence("\x21\0\0\0\0\x1C", 6);
  return WithAdts(silence, static_cast<int>(channels), static_cast<int>(sample_rate_index));
}

RecordBuilder& AddHealthySession(RecordBuilder& builder, int64_t start_us) {
  return builder.Start(start_us)
      .Channel(start_us + 1000, kCamera)
      .Attributes(start_us + 2000, 640, 360)
      .Video(start_us + 3000, KeyFrame640x360())
      .Audio(start_us + 21333, AdtsFrame(kAdts48000, 2))
      .Delta(start_us + 41000)
      .Audio(start_us + 42666, AdtsFrame(kAdts48000, 2))
      .Audio(start_us + 63999, AdtsFrame(kAdts48000, 2))
      .Stop(start_us + 70000);
}

RecordBuilder TwoSessions(const TempDir& dir) {
  RecordBuilder builder(dir);
  AddHealthySession(builder, 1000000);
  builder.Start(2000000)
      .Channel(2001000, kDesktop)
      .Attributes(2002000, 640, 360)
      .Video(2003000, KeyFrame640x360())
      .Audio(2021333, AdtsFrame(kAdts48000, 2))
      .Channel(2022000, 0)
      .Audio(2042666, AdtsFrame(kAdts48000, 2))
      .Stop(2050000);
  return builder;
}

std::map<std::string, std::string> ReadRecord(const std::string& folder) {
  std::map<std::string, std::string> files;
  for (const char* extension : {".index", ".264", ".aac", ".desc"}) {
    files[extension] = ReadFile(folder + "SpeakeRecord" + extension);
  }
  return files;
}

}  // namespace kx_testing
