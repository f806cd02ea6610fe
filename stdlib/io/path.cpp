#include "stdlib/io/path.hpp"

#include <string.h>

#include "runtime/fs.hpp"
#include "stdlib/sys/env.hpp"

namespace stdlib {

namespace {

// a + middle + b from byte `from` on, in one allocation.
string glue(const string& a, const char* middle, const string& b, int32_t from) {
    int32_t a_length = length(a), m_length = (int32_t)strlen(middle), b_length = length(b) - from;
    string made = string_buffer(a_length + m_length + b_length);
    char* out = made->bytes();
    memcpy(out, c_str(a), (size_t)a_length);
    memcpy(out + a_length, middle, (size_t)m_length);
    memcpy(out + a_length + m_length, c_str(b) + from, (size_t)b_length);
    return made;
}

int32_t last_slash(const string& p) { return last_index_of_char(p, '/').unwrap_or(-1); }

bool is_dotdot(const char* segment, int32_t n) { return n == 2 && segment[0] == '.' && segment[1] == '.'; }

// The home directory `p` starts from, or the empty text when it stays unexpanded. `rest` is set to
// the index of the first byte behind the "/" after the user part, or -1 if there is none.
string home_for(const string& p, int32_t* rest) {
    Option<int32_t> slash = index_of_char(p, '/');
    int32_t end = slash.unwrap_or(length(p));
    *rest = slash.is_some() ? end + 1 : -1;
    if (end == 1) return get_env_or("HOME"_t, ""_t);
    string name = substring(p, 1, end - 1);
    return adopt(nolt_fs_user_home(c_str(name)));
}

}  // namespace

string join_path(const string& a, const string& b) {
    int32_t a_length = length(a), b_length = length(b);
    if (a_length == 0) return b;
    if (b_length == 0) return a;
    bool a_slash = c_str(a)[a_length - 1] == '/', b_slash = c_str(b)[0] == '/';
    if (a_slash && b_slash) return glue(a, "", b, 1);
    return glue(a, a_slash || b_slash ? "" : "/", b, 0);
}

string join(const string& a, const string& b) { return join_path(a, b); }

string dirname(const string& p) {
    int32_t slash = last_slash(p);
    if (slash < 0) return empty_string();
    if (slash == 0) return "/"_t;
    return substring(p, 0, slash);
}

string basename(const string& p) {
    int32_t slash = last_slash(p);
    if (slash < 0) return length(p) == 0 ? empty_string() : p;
    return substring(p, slash + 1, length(p) - slash - 1);
}

string strip_extension(const string& p) {
    int32_t dot = last_index_of_char(p, '.').unwrap_or(-1);
    if (dot < 0 || dot < last_slash(p)) return p;
    return substring(p, 0, dot);
}

bool is_absolute(const string& p) { return length(p) > 0 && c_str(p)[0] == '/'; }

string normalize(const string& p) {
    int32_t n = length(p);
    if (n == 0) return empty_string();
    // Every segment kept has its own separator in `p`, so the result never outgrows it.
    string made = string_buffer(n);
    const char* in = c_str(p);
    char* out = made->bytes();
    bool absolute = in[0] == '/';
    int32_t root = absolute ? 1 : 0, used = root;
    if (absolute) out[0] = '/';
    for (int32_t i = 0; i < n;) {
        while (i < n && in[i] == '/') i++;
        int32_t start = i;
        while (i < n && in[i] != '/') i++;
        int32_t size = i - start;
        const char* segment = in + start;
        if (size == 0 || (size == 1 && segment[0] == '.')) continue;
        if (is_dotdot(segment, size)) {
            int32_t slash = used - 1;
            while (slash >= 0 && out[slash] != '/') slash--;
            if (absolute) {
                if (used > root) used = slash <= 0 ? root : slash;
                continue;
            }
            if (used > 0 && !is_dotdot(out + slash + 1, used - slash - 1)) {
                used = slash < 0 ? 0 : slash;
                continue;
            }
        }
        if (used > root) out[used++] = '/';
        memcpy(out + used, segment, (size_t)size);
        used += size;
    }
    if (used == 0) return empty_string();
    set_length(made, used);
    return made;
}

string expand_home(const string& p) { return expand_user(p); }

string expand_user(const string& p) {
    int32_t n = length(p);
    if (n == 0 || c_str(p)[0] != '~') return p;
    int32_t rest = -1;
    string home = home_for(p, &rest);
    if (is_empty(home)) return p;
    if (rest < 0) return home;
    if (rest == n) return join_path(home, "/"_t);
    return join_path(home, substring(p, rest, n - rest));
}

}  // namespace stdlib
