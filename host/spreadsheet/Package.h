// The zip package of a workbook: parts read with caps on what they inflate to,
// XML parsed without any DOCTYPE, and packages written part by part.
#pragma once

#include "spreadsheet/Workbook.h"

#include <pugixml.hpp>

#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

struct zip;
struct zip_source;

namespace spreadsheet {

class Package {
public:
    Package() = default;
    ~Package();
    Package(const Package&) = delete;
    Package& operator=(const Package&) = delete;

    Status open(std::string bytes, const Limits& limits);
    bool has(const std::string& part) const;
    // Inflates a part, counting real bytes against the per-part and total caps.
    Status read(const std::string& part, std::string& out);
    // Names of all entries in archive order.
    std::vector<std::string> entries() const;

    // Writes a new package to `path`: entries in the old order, `replaced` ones from
    // memory, the others copied from this package as they are.
    Status writeTo(const std::string& path,
                   const std::map<std::string, std::string>& replaced) const;

private:
    std::string m_bytes;
    zip* m_zip = nullptr;
    zip_source* m_source = nullptr;
    Limits m_limits;
    std::size_t m_inflated = 0;
    std::map<std::string, std::size_t> m_index; // lower-case name -> entry index
};

// A package built in memory from (name, content) pairs.
std::string buildZip(const std::vector<std::pair<std::string, std::string>>& parts);

// Parses XML in place (the buffer must outlive the document). Refuses a DOCTYPE, more
// nodes than the limits allow (counted before parsing) and nesting past the depth limit.
Status parseXml(std::string& buffer, pugi::xml_document& doc, const Limits& limits);

// Element name without its namespace prefix.
std::string_view localName(const char* qualified);
pugi::xml_node childNamed(pugi::xml_node parent, std::string_view local);

std::wstring fromUtf8(std::string_view s);
std::string toUtf8(std::wstring_view s);

} // namespace spreadsheet
