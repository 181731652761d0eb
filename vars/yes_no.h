// The two texts of every boolean page variable.

#ifndef VARS_YES_NO_H_
#define VARS_YES_NO_H_

inline const char* yesNo(bool value) { return value ? "yes" : "no"; }

#endif  // VARS_YES_NO_H_
