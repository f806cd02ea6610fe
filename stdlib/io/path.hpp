// io.path: path arithmetic on byte strings. Pure text work, apart from the home directory
// lookups of the expansions; nothing looks at the file system.
#pragma once
#include "stdlib/core/str.hpp"

namespace stdlib {

// `a` and `b` with one "/" between them. An empty side gives the other; an absolute `b` does not
// replace `a`: join_path("/x", "/y") is "/x/y".
string join_path(const string& a, const string& b);
string join(const string& a, const string& b);
// The part before the last "/"; "/" if that slash is the first byte; "" without a slash.
string dirname(const string& p);
// The part behind the last "/"; `p` itself without a slash; "" if `p` ends with "/".
string basename(const string& p);
// `p` without everything from the last "." on, if that "." stands behind the last "/".
string strip_extension(const string& p);
bool is_absolute(const string& p);
// Drops empty and "." segments and resolves ".." textually; no trailing slash but the root.
// A relative path that resolves to nothing is "", never ".".
string normalize(const string& p);
// "~" and "~/..." from HOME (unchanged if HOME is unset or empty); "~name" and "~name/..." from
// the password database (unchanged for an unknown user). Both functions expand both forms.
string expand_home(const string& p);
string expand_user(const string& p);

}  // namespace stdlib
