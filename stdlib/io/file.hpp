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

}  // namespace stdlib
