#pragma once

#include "run/CollectType.h"

namespace LedgoraCollect {

/// Hands the run over to the collection script, which writes the document to
/// `outputPath` and prints its length. `env` is "env=" and the run's root.
/// Returns the length that the script reported, or -1.
int execLua(const char* outputPath, const char* logPath, COLLECT_TYPE_E type, const char* env,
            int option);

}  // namespace LedgoraCollect
