#include "tools/hotspotctl_output.h"

#include <algorithm>
#include <string>
#include <vector>

namespace hotspotctl {

namespace {

std::string textOf(const nlohmann::json& value) {
  if (value.is_null()) return "-";
  if (value.is_string()) return value.get<std::string>().empty() ? "-" : value.get<std::string>();
  if (value.is_array()) {
    std::string text;
    for (const nlohmann::json& item : value) {
      if (!text.empty()) text += ' ';
      text += textOf(item);
    }
    return text.empty() ? "-" : text;
  }
  return value.dump();
}

// Characters, not bytes: continuation bytes of UTF-8 take no room.
std::size_t widthOf(const std::string& text) {
  return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), [](char c) {
    return (static_cast<unsigned char>(c) & 0xc0) != 0x80;
  }));
}

}  // namespace

void printTable(std::ostream& out, const nlohmann::json& rows,
                const std::vector<const char*>& columns) {
  std::vector<std::vector<std::string>> lines(1);
  for (const char* column : columns) lines[0].push_back(column);
  for (const nlohmann::json& row : rows) {
    lines.emplace_back();
    for (const char* column : columns) {
      lines.back().push_back(row.contains(column) ? textOf(row[column]) : "-");
    }
  }
  std::vector<std::size_t> widths(columns.size(), 0);
  for (const auto& line : lines) {
    for (std::size_t i = 0; i < line.size(); ++i) widths[i] = std::max(widths[i], widthOf(line[i]));
  }
  for (const auto& line : lines) {
    std::string text;
    for (std::size_t i = 0; i < line.size(); ++i) {
      text += line[i];
      if (i + 1 < line.size()) text += std::string(widths[i] - widthOf(line[i]) + 2, ' ');
    }
    out << text << '\n';
  }
}

void printRecord(std::ostream& out, const nlohmann::json& record) {
  for (const auto& [name, value] : record.items()) out << name << ": " << textOf(value) << '\n';
}

}  // namespace hotspotctl
