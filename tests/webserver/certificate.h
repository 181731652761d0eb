// A certificate for the tests: self-signed, new each time.

#ifndef TESTS_WEBSERVER_CERTIFICATE_H_
#define TESTS_WEBSERVER_CERTIFICATE_H_

#include <string>

// Writes a certificate for `name` and its key, both PEM.
void writeCertificate(const std::string& name, const std::string& certificateFile,
                      const std::string& keyFile);

#endif  // TESTS_WEBSERVER_CERTIFICATE_H_
