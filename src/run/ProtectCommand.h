#pragma once

#include <cstdio>

namespace LedgoraCollect {

/// The companion program that makes protected JSON files:
/// `ledgora_protect IN OUT` enciphers, `ledgora_protect --plain IN OUT` is the
/// way back, `--help` tells. Help goes to `out`, errors to `err`. The output
/// is written to a temporary file beside OUT and renamed, so OUT is either
/// whole or untouched. Returns the exit status: 0 done, 1 failed, 2 wrong
/// arguments.
int protectCommand(int argc, const char* const* argv, FILE* out, FILE* err);

}  // namespace LedgoraCollect
