// Error values: what every recoverable failure carries.
#pragma once
#include "stdlib/core/result.hpp"
#include "stdlib/core/str.hpp"

namespace stdlib {

enum class ErrorKind : int32_t {
    NotFound,
    InvalidInput,
    PermissionDenied,
    IoError,
    AlreadyExists,
    Unsupported,
    WouldBlock,
    Timeout,
    OutOfRange,
    Other,
};

class Error {
    NOLT_MANAGED(Error, void);

public:
    ErrorKind kind = ErrorKind::Other;
    Member<Text> message;
    int32_t code = 0;
};

Root<Error> error(ErrorKind kind, const string& message);
Root<Error> error_with_code(ErrorKind kind, const string& message, int32_t code);

}  // namespace stdlib
