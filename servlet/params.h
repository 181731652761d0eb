// Names of sub-directories that come from a client.

#ifndef SERVLET_PARAMS_H_
#define SERVLET_PARAMS_H_

#include <string>

// Normalises the value of the "target" parameter in place: empty stays empty; a value with ".."
// anywhere is logged and cleared; otherwise slashes at both ends go and one '/' is put at the end.
// Slashes at the start take the character behind them with them: "/abc" gives "bc/", "/" and "///"
// give "/".
void cleanupDir(std::string* dir);

#endif  // SERVLET_PARAMS_H_
