// The program's own log, on standard error: one line, one write(2). Any thread; never throws.

#ifndef WEBSERVER_LOGGING_H_
#define WEBSERVER_LOGGING_H_

#include <string>

namespace web {

// Once in a process, and again after a fork or a reload. `level`: debug, info, warn or error.
void startLogging(const std::string& level);

void logDebug(const std::string& text);
void logInfo(const std::string& text);
void logWarning(const std::string& text);
void logError(const std::string& text);
// "WHAT: WHY" as an error. Never throws: a line is lost when there is no memory for it.
void logFailure(const char* what, const char* why) noexcept;

}  // namespace web

#endif  // WEBSERVER_LOGGING_H_
