#pragma once

#include <string>

namespace LedgoraCollect {

/// The number, from 1, of an English month abbreviation as login listings
/// write it ("Jan", ..., "Sept", ..., "Dec"). 0 for any other text.
int convertMonthNum(const std::string& month);

/// Seconds since the epoch of a date as login listings write it, for example
/// "Tue Sept 6 14:05:09 +0800 2022"; without an offset it is local time. -1
/// for a text of another form.
long long getLastLogTime(const std::string& date);

}  // namespace LedgoraCollect
