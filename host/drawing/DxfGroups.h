// DXF group codes and their values: the table of value types, the reader of code/value
// pairs and the writer of them.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace drawing::dxf {

enum class ValueType : std::uint8_t {
    none,
    text,
    real,
    int16,
    int32,
    int64,
    boolean,
    handle,
    binary
};

// The type of a group code's value, from the public reference's ranges; none for a code
// the reference does not define.
ValueType valueType(int code);

struct Group {
    int code = 0;
    std::string_view value; // as in the file, without the line end
    std::size_t line = 0;   // of the code, from 1
};

// Splits text into groups and checks each value against its code's type. False with the
// reason ("line 7: ...") for a binary file, a truncated pair, an unknown code, a value
// that is no number of its kind, or a line longer than the limit.
bool readGroups(std::string_view text, std::vector<Group>& groups, std::string& error);

// Values, once checked by readGroups.
double realOf(const Group& g);
std::int64_t integerOf(const Group& g);
std::uint64_t handleOf(const Group& g); // 0 for the null handle
std::string binaryOf(const Group& g);   // the bytes of hexadecimal binary data
// Text with the file's caret escapes (^J, ^ ) undone, as UTF-8 becomes wide text.
std::wstring textOf(const Group& g);

// Builds DXF text, one pair at a time, values written as their code's type asks.
class Writer {
public:
    void text(int code, std::wstring_view value);
    void text(int code, const char* value);
    void real(int code, double value);
    void integer(int code, std::int64_t value);
    void handle(int code, std::uint64_t value);
    void binary(int code, const void* data, std::size_t size);
    // A point as three groups: code, code + 10, code + 20.
    void point(int code, double x, double y, double z);

    std::string& out() { return m_out; }

private:
    void code(int code);
    std::string m_out;
};

} // namespace drawing::dxf
