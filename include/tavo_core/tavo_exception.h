/// @file
/// How failures are raised: one exception type that carries a status and the place of failure.
#pragma once

#include <cstdint>
#include <exception>

#include "tavo_core/tavo_export.h"

namespace tavo {

/// What kind of failure an Exception reports.
enum Status : std::int32_t {
    TAVO_STATUS_ASSERTION_FAILED = 2,          ///< a violated precondition
    TAVO_STATUS_OUT_OF_MEMORY = 3,             ///< the system has no memory left
    TAVO_STATUS_NULL_POINTER = 4,              ///< a null pointer parameter
    TAVO_STATUS_OUT_OF_RANGE = 5,              ///< a numeric parameter out of range
    TAVO_STATUS_INVALID_PARAMETER = 6,         ///< a parameter with an invalid value
    TAVO_STATUS_INSTANCE_NOT_INITIALIZED = 7,  ///< an object that `reuse` has not prepared
    TAVO_STATUS_NOT_SUPPORTED = 8,             ///< a format or an operation that does not exist
    TAVO_STATUS_NOT_INITIALIZED = 14,          ///< an uninitialized frame or producer handed in
    TAVO_STATUS_CAPACITY_EXCEEDED = 19,        ///< a fixed capacity is too small for the data
    TAVO_STATUS_BAD_FORMAT = 29,               ///< a format value that is not known
};

/// The one exception type of the libraries. Copying and reading it never throws.
class TAVO_CORE_API Exception : public std::exception {
public:
    Status status;  ///< what kind of failure

    /// Normally raised by TAVO_RAISE, TAVO_TRANSLATE or TAVO_ASSERT, which fill in the place.
    /// @param cause    the exception that is being translated, or null. It need not outlive the
    ///                 call: callers put its status and text into the new exception.
    /// @param status   kind of failure
    /// @param function bare name of the raising function; borrowed, normally a literal
    /// @param file     path of the raising source without its ending; borrowed, normally a literal
    /// @param line     line of the raising statement
    /// @param format   printf format of the message; at most 5119 characters of the result are kept
    Exception(const Exception* cause,
              Status status,
              const char* function,
              const char* file,
              int line,
              const char* format,
              ...) noexcept __attribute__((format(printf, 7, 8)));
    ~Exception() override;
    /// A copy has the same message, status and place.
    Exception(const Exception&) noexcept;
    /// A copy has the same message, status and place.
    /// @return this exception
    Exception& operator=(const Exception&) noexcept;

    /// @return the rendered message, without function, file or line; valid as long as this object
    const char* what() const noexcept override;
    /// @return the bare name of the raising function
    const char* function() const noexcept { return _function; }
    /// @return the path of the raising source without its ending, from the project's folder on
    const char* file() const noexcept { return _file; }
    /// @return the line of the raising statement
    int line() const noexcept { return _line; }

private:
    char _message[5120];
    const char* _function;
    const char* _file;
    int _line;
};

}  // namespace tavo

/// Path of the current source as failures show it. The build defines it per source file; a caller's
/// own sources get what the compiler calls them.
#ifndef TAVO_SOURCE
#define TAVO_SOURCE __FILE__
#endif

// These are macros because the failure carries the place where they stand.

/// Raises an Exception: `TAVO_RAISE(status, format, arguments...)`.
/// @param status a Status; the printf format of the message and its arguments follow
#define TAVO_RAISE(status, ...) \
    throw ::tavo::Exception(nullptr, status, __func__, TAVO_SOURCE, __LINE__, __VA_ARGS__)

/// Raises a caught Exception anew with its status: `TAVO_TRANSLATE(cause, format, arguments...)`.
/// @param cause the caught Exception; the printf format of the message and its arguments follow
#define TAVO_TRANSLATE(cause, ...) \
    throw ::tavo::Exception(&(cause), (cause).status, __func__, TAVO_SOURCE, __LINE__, __VA_ARGS__)

/// Checks a precondition in every build. A failure is TAVO_STATUS_ASSERTION_FAILED with the message
/// "Assertion failed: " and @p text.
/// @param condition is evaluated once
/// @param text      a C string
#define TAVO_ASSERT_TEXT(condition, text)                                                   \
    do {                                                                                    \
        if (!(condition)) {                                                                 \
            TAVO_RAISE(::tavo::TAVO_STATUS_ASSERTION_FAILED, "Assertion failed: %s", text); \
        }                                                                                   \
    } while (false)

/// Checks a precondition in every build, as TAVO_ASSERT_TEXT; the message shows the condition as it
/// is written.
/// @param condition is evaluated once
#define TAVO_ASSERT(condition) TAVO_ASSERT_TEXT(condition, #condition)
