#include <string_view>

#include "host/response.h"
#include "platform/ascii.h"

namespace {

struct ContentType {
  std::string_view extension;
  const char* type;
  bool rendered;
};

constexpr ContentType kContentTypes[] = {
    {".html", "text/html", true},      {".htm", "text/html", true},
    {".txt", "text/plain", true},      {".css", "text/css", false},
    {".js", "text/javascript", false}, {".json", "application/json", false},
    {".xml", "text/xml", false},       {".gif", "image/gif", false},
    {".png", "image/png", false},      {".jpg", "image/jpeg", false},
    {".jpeg", "image/jpeg", false},    {".svg", "image/svg+xml", false},
    {".ico", "image/x-icon", false},   {".webp", "image/webp", false},
    {".woff2", "font/woff2", false},   {".pdf", "application/pdf", false},
};

}  // namespace

std::string getContentType(const std::string& name, bool* rendered) {
  // A dot in a directory's name starts no extension: what follows it then holds a slash.
  const std::string::size_type start = name.rfind('.');
  if (start != std::string::npos) {
    const std::string_view extension = std::string_view(name).substr(start);
    for (const ContentType& entry : kContentTypes) {
      if (ascii::equalIgnoringCase(extension, entry.extension)) {
        if (entry.rendered) {
          *rendered = true;
        }
        return entry.type;
      }
    }
  }
  return "application/octet-stream";
}
