// Replacing a file so that a crash never leaves it half written (host side).
#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace tarvo::host {

// Writes `content` to a temporary file beside `path`, flushes it to the disk, renames it over
// `path` and flushes the directory. A crash at any moment leaves either the old file or the new
// one, whole. The new file keeps the old one's permissions. False with `error` set on failure;
// the old file is then untouched.
bool WriteFileAtomically(const std::string& path, std::string_view content, std::string& error);

// Test seam: called with the temporary file's path once it is written and flushed, just before
// the rename. Returning false abandons the save at that point (as a failed rename would); a hook
// may also end the process there to stand for a crash. An empty function removes the hook.
void SetBeforeRenameHook(std::function<bool(const std::string& tempPath)> hook);

}  // namespace tarvo::host
