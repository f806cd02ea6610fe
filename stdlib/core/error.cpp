#include "stdlib/core/error.hpp"

namespace stdlib {

Root<Error> error(ErrorKind kind, const string& message) { return error_with_code(kind, message, 0); }

Root<Error> error_with_code(ErrorKind kind, const string& message, int32_t code) {
    Root<Error> made = runtime::make<Error>();
    made->kind = kind;
    made->message = message;
    made->code = code;
    return made;
}

}  // namespace stdlib
