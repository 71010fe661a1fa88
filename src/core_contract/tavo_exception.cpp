#include "tavo_core/tavo_exception.h"

#include <cstdarg>
#include <cstdio>

namespace tavo {

Exception::Exception(const Exception* /*cause*/,
                     Status status_,
                     const char* function,
                     const char* file,
                     int line,
                     const char* format,
                     ...) noexcept
    : status(status_), _function(function), _file(file), _line(line) {
    std::va_list arguments;
    va_start(arguments, format);
    if (std::vsnprintf(_message, sizeof(_message), format, arguments) < 0) {
        _message[0] = '\0';
    }
    va_end(arguments);
}

Exception::~Exception() = default;
Exception::Exception(const Exception&) noexcept = default;
Exception& Exception::operator=(const Exception&) noexcept = default;

const char* Exception::what() const noexcept {
    return _message;
}

}  // namespace tavo
