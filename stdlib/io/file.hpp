// io.file: whole-file reads and writes.
#pragma once
#include "stdlib/core/error.hpp"

namespace stdlib {

// True if the path can be opened for reading, a directory included; false for a file that exists
// but can't be read.
bool fileExists(const string& path);
// The whole file, any bytes, by length; the shared empty text for an empty file. A missing file
// gives NotFound; one that can't be opened, a directory, a file of 2 GiB or more, or a failed read
// gives IoError. The message is "failed to read file: " + path.
Result<string, Error> readFile(const string& path);
// Creates or replaces the file with the text's bytes, Ok(true). Not atomic: a failure after the
// open leaves a truncated or partial file. IoError "failed to write file: " + path if it can't be
// opened, "short write to file: " + path if not every byte reached the file.
Result<bool, Error> writeFile(const string& path, const string& text);
// Replaces the file as a whole, Ok(true): the text goes to a new file beside it, which takes the
// old file's permission bits and reaches the disk before it is renamed over the old one, so that a
// failure at any point leaves the old file as it was. A symbolic link, a file that is not writable
// or is another owner's, and a folder that refuses a new file are written in place by writeFile
// instead, which keeps the link, the protection, the owner and the folder as they are. IoError
// "failed to write file: " + path.
Result<bool, Error> replaceFile(const string& path, const string& text);

}  // namespace stdlib
