#pragma once

#include <string_view>

namespace LedgoraCollect {

/// How a value stands in a command line.
enum class CommandPlace {
  Unquoted,      ///< one word or several plain words
  SingleQuoted,  ///< between single quotes that the line's text already has
};

/// Whether a value that somebody on the inspected machine can choose (a path, a
/// name, a variable's value, a device) can only be taken for plain words where it
/// stands. The one place that decides this. An empty value may enter.
bool mayEnterCommandLine(std::string_view value, CommandPlace place);

/// As mayEnterCommandLine; a refusal is logged at level 1 with `function` as
/// the asking function's name. A refused command isn't run: its caller gets
/// what a failed command gives.
bool acceptCommandWord(std::string_view value, CommandPlace place, const char* function);

}  // namespace LedgoraCollect
