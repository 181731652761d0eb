// Finding the next byte that means something to the template language, at the speed of memory
// rather than byte by byte. Free functions on [from, end); any bytes; any thread.

#ifndef TEMPLATE_TEXT_SCAN_H_
#define TEMPLATE_TEXT_SCAN_H_

// First '\\', '$' or '%'; `end` when there is none.
const char* findSpecial(const char* from, const char* end);

// First ')' or '%', the characters that close a directive; `end` when there is none.
const char* findCloser(const char* from, const char* end);

// First blank or tab, the characters that separate the words of a directive; `end` when there is
// none.
const char* findBlank(const char* from, const char* end);

#endif  // TEMPLATE_TEXT_SCAN_H_
