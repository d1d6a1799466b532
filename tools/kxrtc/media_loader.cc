#include "tools/kxrtc/media_loader.h"

#include <dlfcn.h>

#include <filesystem>
#include <system_error>

namespace kxrtc_tool {
namespace {

// KXRTC_MEDIA_MODULE is relative to the folder of the program.
std::string ModulePath() {
  std::error_code ignored;  // Then the path cannot be loaded, which is reported.
  const auto program = std::filesystem::read_symlink("/proc/self/exe", ignored);
  return (program.parent_path() / KXRTC_MEDIA_MODULE).lexically_normal();
}

}  // namespace

const kxrtc_host::Media* LoadMedia(std::string* error) {
  void* const module = dlopen(ModulePath().c_str(), RTLD_LAZY | RTLD_LOCAL);
  void* const entry = module == nullptr ? nullptr : dlsym(module, kxrtc_host::kMediaEntryName);
  if (entry != nullptr) return reinterpret_cast<kxrtc_host::MediaEntry*>(entry)();
  *error = "cannot load what needs FFmpeg: " + std::string(dlerror()) +
           "; install kxrtc again, with FFmpeg's libraries";
  return nullptr;
}

}  // namespace kxrtc_tool
