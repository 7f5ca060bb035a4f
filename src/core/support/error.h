#pragma once
// Error values that travel between conversations, the store and the
// controller. Errors cross thread and module boundaries as values, never as
// exceptions.

#include <QString>
#include <cerrno>
#include <optional>

namespace vf {

// A refused TCP connection: nothing listens on the ADB server's port.
inline constexpr int kConnectionRefusedCode = ECONNREFUSED;

// Domain of errors built from an ADB server "FAIL" reply.
inline constexpr char kLogReaderErrorDomain[] = "logReader";
// Domain of socket-level errors.
inline constexpr char kSocketErrorDomain[] = "socket";

struct Error {
    QString domain;
    int code = 0;
    QString description;
    QString failureReason;
    QString recoverySuggestion;

    // One-line text for diagnostics: "Error Domain=D Code=N \"description\"".
    QString toString() const {
        return QStringLiteral("Error Domain=%1 Code=%2 \"%3\"").arg(domain).arg(code).arg(description);
    }
};

using OptionalError = std::optional<Error>;

}  // namespace vf
