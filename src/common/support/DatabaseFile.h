#pragma once

namespace LedgoraCollect {

/// Makes an empty database file of mode 0640 if `path` doesn't exist, so that
/// SQLite doesn't make it with wider rights. False, with a message, if `path`
/// is there and is no regular file: a link in its place is never followed. A
/// file that can't be made is left to the opening that follows, which says
/// why. A file that exists isn't opened here: closing a descriptor of it would
/// drop the locks that this process holds on it through SQLite.
bool prepareDatabaseFile(const char* path);

}  // namespace LedgoraCollect
