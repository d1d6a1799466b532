#include "tools/kxrtc/terminal_colour.h"

#include <unistd.h>

#include <cstdlib>

namespace kxrtc_tool {
namespace {

bool IsSet(const char* variable) {
  const char* const value = std::getenv(variable);
  return value != nullptr && value[0] != '\0';
}

bool HasColours() {
  if (IsSet("NO_COLOR") || !IsSet("TERM") || isatty(STDOUT_FILENO) == 0) return false;
  return std::string(std::getenv("TERM")) != "dumb";
}

const char* Code(Colour colour) {
  switch (colour) {
    case Colour::kRed:
      return "31";
    case Colour::kYellow:
      return "33";
    case Colour::kGreen:
      return "32";
    case Colour::kNone:
      break;
  }
  return "0";
}

}  // namespace

std::string Coloured(Colour colour, const std::string& text) {
  static const bool has_colours = HasColours();
  if (!has_colours || colour == Colour::kNone) return text;
  return std::string("\x1B[") + Code(colour) + "m" + text + "\x1B[0m";
}

}  // namespace kxrtc_tool
