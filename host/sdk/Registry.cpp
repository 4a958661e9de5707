// The registry calls over a per-user store file. The file is in the registry editor's
// export format, so that a user can read it:
//
//   Windows Registry Editor Version 5.00
//
//   [HKEY_CURRENT_USER\software\Norvane\Linkmesh]
//   "ActiveMenu"=dword:00000000
//
// A damaged store (a line that is not understood, a file cut short, more than 1 MB, a FIFO
// or a device in its place) gives the values that can be read, is reported once on the
// command line, and stays untouched on disk until a value is written; then it is kept
// aside under a name of its own, which is told, before the store is written anew. The
// registry editor's UTF-16 export and a UTF-8 byte-order mark are read as they are.
#include "sdk/control/Registry.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <cwctype>
#include <fstream>
#include <map>
#include <memory>
#include <set>
#include <sstream>
#include <vector>

#include "WideFormat.h"
#include "sdk/control/HostControl.h"
#include "winreg.h"

namespace {

constexpr const char* kHeader = "Windows Registry Editor Version 5.00";
constexpr const wchar_t* kRootName = L"HKEY_CURRENT_USER";
constexpr size_t kMaxStoreBytes = 1 << 20;

struct Value {
    std::wstring name;
    DWORD type = REG_NONE;
    std::vector<BYTE> data;
};

struct Key {
    std::wstring path; // below the root, as first created; "" is the root
    std::vector<Value> values;
};

std::wstring lower(std::wstring text) {
    for (wchar_t& c : text)
        c = static_cast<wchar_t>(std::towlower(c));
    return text;
}

struct Store {
    bool loaded = false;
    bool damaged = false;
    bool reported = false;
    std::map<std::wstring, Key> keys; // by lower-cased path
    std::set<std::wstring*> handles;  // open handles: each names a key path
};

Store& store() {
    static Store s;
    return s;
}

void addKey(Store& s, const std::wstring& path) {
    // A key brings its parents with it.
    size_t pos = 0;
    while (true) {
        size_t next = path.find(L'\\', pos);
        std::wstring part = path.substr(0, next);
        if (!part.empty() && !s.keys.count(lower(part)))
            s.keys[lower(part)] = Key{part, {}};
        if (next == std::wstring::npos)
            break;
        pos = next + 1;
    }
}

void addBuiltInKeys(Store& s) {
    s.keys[L""] = Key{L"", {}};
    addKey(s, L"software"); // always there, as on the host platform
}

// ---- reading ---------------------------------------------------------------------------

bool parseHexBytes(const std::wstring& text, std::vector<BYTE>& out) {
    std::wstringstream in(text);
    std::wstring part;
    while (std::getline(in, part, L',')) {
        if (part.size() != 2 || !std::iswxdigit(part[0]) || !std::iswxdigit(part[1]))
            return false;
        out.push_back(static_cast<BYTE>(std::wcstoul(part.c_str(), nullptr, 16)));
    }
    return true;
}

bool parseQuoted(const std::wstring& line, size_t& pos, std::wstring& out) {
    if (pos >= line.size() || line[pos] != L'"')
        return false;
    for (++pos; pos < line.size(); ++pos) {
        wchar_t c = line[pos];
        if (c == L'"') {
            ++pos;
            return true;
        }
        if (c == L'\\') {
            if (++pos >= line.size() || (line[pos] != L'\\' && line[pos] != L'"'))
                return false;
            c = line[pos];
        }
        out += c;
    }
    return false;
}

bool parseValue(const std::wstring& line, Value& value) {
    size_t pos = 0;
    if (line[0] == L'@')
        pos = 1;
    else if (!parseQuoted(line, pos, value.name))
        return false;
    if (pos >= line.size() || line[pos] != L'=')
        return false;
    std::wstring rest = line.substr(pos + 1);
    if (rest.rfind(L"dword:", 0) == 0) {
        std::wstring digits = rest.substr(6);
        if (digits.size() != 8 || !std::all_of(digits.begin(), digits.end(), ::iswxdigit))
            return false;
        uint32_t v = static_cast<uint32_t>(std::wcstoul(digits.c_str(), nullptr, 16));
        value.type = REG_DWORD;
        value.data.resize(4);
        std::memcpy(value.data.data(), &v, 4);
        return true;
    }
    if (!rest.empty() && rest[0] == L'"') {
        std::wstring text;
        size_t p = 0;
        if (!parseQuoted(rest, p, text) || p != rest.size())
            return false;
        value.type = REG_SZ;
        value.data.resize((text.size() + 1) * sizeof(wchar_t));
        std::memcpy(value.data.data(), text.c_str(), value.data.size());
        return true;
    }
    if (rest.rfind(L"hex:", 0) == 0) {
        value.type = REG_BINARY;
        return parseHexBytes(rest.substr(4), value.data);
    }
    if (rest.rfind(L"hex(", 0) == 0) {
        size_t close = rest.find(L"):");
        if (close == std::wstring::npos || close == 4)
            return false;
        std::wstring type = rest.substr(4, close - 4);
        if (!std::all_of(type.begin(), type.end(), ::iswxdigit) || type.size() > 8)
            return false;
        value.type = static_cast<DWORD>(std::wcstoul(type.c_str(), nullptr, 16));
        return parseHexBytes(rest.substr(close + 2), value.data);
    }
    return false;
}

// UTF-16 as the registry editor exports it, else UTF-8 with or without a byte-order mark.
std::wstring decodeStore(const std::string& bytes, std::string& problem) {
    auto byte = [&bytes](size_t i) { return static_cast<unsigned char>(bytes[i]); };
    if (bytes.size() >= 2 && byte(0) == 0xFF && byte(1) == 0xFE) {
        std::wstring text;
        size_t i = 2;
        for (; i + 1 < bytes.size(); i += 2) {
            unsigned unit = byte(i) | byte(i + 1) << 8;
            if (unit >= 0xD800 && unit < 0xDC00 && i + 3 < bytes.size()) {
                unsigned low = byte(i + 2) | byte(i + 3) << 8;
                if (low >= 0xDC00 && low < 0xE000) {
                    text +=
                        static_cast<wchar_t>(0x10000 + ((unit - 0xD800) << 10) + (low - 0xDC00));
                    i += 2;
                    continue;
                }
            }
            text += static_cast<wchar_t>(unit);
        }
        if (i < bytes.size())
            problem = "it ends inside a character";
        return text;
    }
    if (bytes.rfind("\xEF\xBB\xBF", 0) == 0)
        return lmhost::widen(bytes.substr(3));
    return lmhost::widen(bytes);
}

// Reads every key and value that can be read; the first line that cannot is named in
// problem. Values under a key line that cannot be read are passed over with it.
void parseStore(const std::wstring& text, Store& s, std::string& problem) {
    std::vector<std::wstring> lines;
    std::wstringstream in(text);
    std::wstring part;
    while (std::getline(in, part)) {
        if (!part.empty() && part.back() == L'\r')
            part.pop_back();
        lines.push_back(part);
    }
    size_t firstBad = 0;
    auto bad = [&firstBad](size_t number) {
        if (!firstBad)
            firstBad = number;
    };
    bool seenHeader = false, seenAnything = false;
    Key* current = nullptr;
    std::map<Key*, std::map<std::wstring, size_t>> seen; // value names of each key, lower-cased
    for (size_t i = 0; i < lines.size(); ++i) {
        size_t number = i + 1;
        std::wstring line = lines[i];
        // The registry editor continues long hex values on the next lines.
        while (!line.empty() && line.back() == L'\\' && line.front() != L'[' &&
               i + 1 < lines.size()) {
            line.pop_back();
            const std::wstring& next = lines[++i];
            size_t first = next.find_first_not_of(L" \t");
            if (first != std::wstring::npos)
                line += next.substr(first);
        }
        if (line.empty())
            continue;
        if (!seenAnything) {
            seenAnything = true;
            if (line == lmhost::widen(kHeader)) {
                seenHeader = true;
                continue;
            }
        }
        if (line.front() == L'[') {
            current = nullptr;
            std::wstring path = line.back() == L']' ? line.substr(1, line.size() - 2) : L"";
            std::wstring root = kRootName;
            bool known = line.back() == L']';
            if (known && path == root)
                path.clear();
            else if (known && path.rfind(root + L"\\", 0) == 0)
                path = path.substr(root.size() + 1);
            else
                known = false;
            if (known && (path.find(L"\\\\") != std::wstring::npos ||
                          (!path.empty() && path.back() == L'\\')))
                known = false;
            if (!known) {
                bad(number);
                continue;
            }
            addKey(s, path);
            current = &s.keys[lower(path)];
            continue;
        }
        Value value;
        if (!current || !parseValue(line, value)) {
            bad(number);
            continue;
        }
        // A name given twice keeps its last value, as an import into the registry does.
        auto [at, added] = seen[current].emplace(lower(value.name), current->values.size());
        if (added)
            current->values.push_back(std::move(value));
        else
            current->values[at->second] = std::move(value);
    }
    if (seenAnything && !seenHeader)
        problem = "it does not start with \"" + std::string(kHeader) + "\"";
    else if (firstBad)
        problem = "line " + std::to_string(firstBad) + " is not understood";
}

void load() {
    Store& s = store();
    if (s.loaded)
        return;
    s.loaded = true;
    s.keys.clear();
    addBuiltInKeys(s);
    std::string path = lmhost::settingsStorePath();
    lmhost::UserFile file = lmhost::readUserFile(path, kMaxStoreBytes);
    if (!file.exists)
        return; // a first run
    std::string problem = file.problem, parseProblem;
    std::wstring text = decodeStore(file.bytes, parseProblem);
    parseStore(text, s, parseProblem);
    if (problem.empty())
        problem = parseProblem;
    if (problem.empty())
        return;
    s.damaged = true;
    if (!s.reported) {
        s.reported = true;
        lmhost::reportDamagedUserFile(L"settings", path, problem);
    }
}

// ---- writing ---------------------------------------------------------------------------

std::wstring quoted(const std::wstring& text) {
    std::wstring out = L"\"";
    for (wchar_t c : text) {
        if (c == L'"' || c == L'\\')
            out += L'\\';
        out += c;
    }
    return out + L"\"";
}

bool isPlainText(const Value& v) {
    if (v.type != REG_SZ || v.data.size() % sizeof(wchar_t) != 0 || v.data.empty())
        return false;
    size_t n = v.data.size() / sizeof(wchar_t);
    std::vector<wchar_t> chars(n);
    std::memcpy(chars.data(), v.data.data(), v.data.size());
    if (chars.back() != 0)
        return false;
    return std::all_of(chars.begin(), chars.end() - 1,
                       [](wchar_t c) { return c >= 0x20 && c != 0x7f && c <= 0x10ffff; });
}

std::string serialize(const Store& s) {
    std::wstring out = lmhost::widen(kHeader);
    out += L"\n";
    for (auto& [id, key] : s.keys) {
        (void)id;
        out += L"\n[";
        out += kRootName;
        if (!key.path.empty())
            out += L"\\" + key.path;
        out += L"]\n";
        for (const Value& v : key.values) {
            out += v.name.empty() ? std::wstring(L"@") : quoted(v.name);
            out += L"=";
            if (v.type == REG_DWORD && v.data.size() == 4) {
                uint32_t n;
                std::memcpy(&n, v.data.data(), 4);
                out += lmhost::formatWide(L"dword:%08x", n);
            } else if (isPlainText(v)) {
                out += quoted(reinterpret_cast<const wchar_t*>(v.data.data()));
            } else {
                out += lmhost::formatWide(L"hex(%x):", v.type);
                for (size_t i = 0; i < v.data.size(); ++i)
                    out += lmhost::formatWide(i ? L",%02x" : L"%02x", v.data[i]);
            }
            out += L"\n";
        }
    }
    return lmhost::narrow(out);
}

bool makeDirectories(const std::string& dir) {
    if (dir.empty())
        return true;
    struct stat st;
    if (stat(dir.c_str(), &st) == 0)
        return S_ISDIR(st.st_mode);
    size_t slash = dir.rfind('/');
    if (slash != std::string::npos && slash > 0 && !makeDirectories(dir.substr(0, slash)))
        return false;
    return mkdir(dir.c_str(), 0700) == 0 || errno == EEXIST;
}

bool save() {
    Store& s = store();
    return lmhost::saveUserFile(lmhost::settingsStorePath(), serialize(s), s.damaged, L"settings");
}

// ---- handles ---------------------------------------------------------------------------

bool resolve(HKEY hKey, std::wstring& path) {
    if (hKey == HKEY_CURRENT_USER) {
        path.clear();
        return true;
    }
    auto* p = reinterpret_cast<std::wstring*>(hKey);
    if (!store().handles.count(p))
        return false;
    path = *p;
    return true;
}

bool isOtherRoot(HKEY hKey) {
    return hKey == HKEY_LOCAL_MACHINE || hKey == HKEY_CLASSES_ROOT;
}

// "a\\b\" and leading backslashes are not key names.
bool validSubKey(const wchar_t* subKey) {
    if (!subKey)
        return true;
    std::wstring s = subKey;
    return s.find(L"\\\\") == std::wstring::npos && (s.empty() || s[0] != L'\\');
}

std::wstring join(const std::wstring& base, const wchar_t* subKey) {
    std::wstring sub = subKey ? subKey : L"";
    while (!sub.empty() && sub.back() == L'\\')
        sub.pop_back();
    if (sub.empty())
        return base;
    return base.empty() ? sub : base + L"\\" + sub;
}

HKEY newHandle(const std::wstring& path) {
    auto* p = new std::wstring(store().keys[lower(path)].path);
    store().handles.insert(p);
    return reinterpret_cast<HKEY>(p);
}

Value* findValue(Key& key, const wchar_t* name) {
    std::wstring n = name ? name : L"";
    for (Value& v : key.values)
        if (lower(v.name) == lower(n))
            return &v;
    return nullptr;
}

} // namespace

namespace lmhost {

std::string userConfigDirectory() {
    const char* xdg = std::getenv("XDG_CONFIG_HOME");
    if (xdg && *xdg == '/')
        return std::string(xdg) + "/linkmesh";
    const char* home = std::getenv("HOME");
    return std::string(home && *home ? home : ".") + "/.config/linkmesh";
}

std::string settingsStorePath() {
    return userConfigDirectory() + "/registry";
}

void resetSettingsStore() {
    Store& s = store();
    for (std::wstring* p : s.handles)
        delete p;
    s.handles.clear();
    s.keys.clear();
    s.loaded = s.damaged = s.reported = false;
}

bool writeFileAtomically(const std::string& path, const std::string& content, std::string& error) {
    size_t slash = path.rfind('/');
    std::string dir = slash == std::string::npos ? std::string() : path.substr(0, slash);
    if (!makeDirectories(dir)) {
        error = "cannot create the folder " + dir + ": " + std::strerror(errno);
        return false;
    }
    std::string temp = path + ".tmp." + std::to_string(getpid());
    int fd = open(temp.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    if (fd < 0) {
        error = "cannot write " + temp + ": " + std::strerror(errno);
        return false;
    }
    size_t done = 0;
    while (done < content.size()) {
        ssize_t n = write(fd, content.data() + done, content.size() - done);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0) {
            error = "cannot write " + temp + ": " + std::strerror(errno);
            close(fd);
            unlink(temp.c_str());
            return false;
        }
        done += static_cast<size_t>(n);
    }
    if (fsync(fd) != 0 || close(fd) != 0) {
        error = "cannot write " + temp + ": " + std::strerror(errno);
        unlink(temp.c_str());
        return false;
    }
    if (rename(temp.c_str(), path.c_str()) != 0) {
        error = "cannot replace " + path + ": " + std::strerror(errno);
        unlink(temp.c_str());
        return false;
    }
    return true;
}

UserFile readUserFile(const std::string& path, size_t maxBytes) {
    UserFile file;
    struct stat st;
    if (lstat(path.c_str(), &st) != 0) {
        if (errno != ENOENT && errno != ENOTDIR) {
            file.exists = true;
            file.problem = std::strerror(errno);
        }
        return file;
    }
    file.exists = true;
    // Only a regular file is opened: opening a FIFO waits for a writer, a device may never end.
    if (stat(path.c_str(), &st) != 0) {
        file.problem = errno == ENOENT ? "it is a link to nothing" : std::strerror(errno);
        return file;
    }
    if (!S_ISREG(st.st_mode)) {
        file.problem = "it is not a regular file";
        return file;
    }
    int fd = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (fd < 0) {
        file.problem = std::strerror(errno);
        return file;
    }
    if (fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
        file.problem = "it is not a regular file";
        close(fd);
        return file;
    }
    char buffer[16384];
    while (file.bytes.size() <= maxBytes) {
        size_t want = std::min(sizeof buffer, maxBytes + 1 - file.bytes.size());
        ssize_t n = read(fd, buffer, want);
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0) {
            file.problem = std::strerror(errno);
            break;
        }
        if (n == 0)
            break;
        file.bytes.append(buffer, static_cast<size_t>(n));
    }
    close(fd);
    if (file.bytes.size() > maxBytes) {
        file.bytes.resize(maxBytes);
        file.problem = maxBytes % (1 << 20) == 0
                           ? "it is larger than " + std::to_string(maxBytes >> 20) + " MB"
                           : "it is larger than " + std::to_string(maxBytes >> 10) + " KB";
    }
    return file;
}

bool keepAside(const std::string& path, std::string& aside, std::string& error) {
    aside.clear();
    struct stat st;
    if (lstat(path.c_str(), &st) != 0) {
        if (errno == ENOENT || errno == ENOTDIR)
            return true; // nothing there to keep
        error = std::strerror(errno);
        return false;
    }
    for (int n = 1; n < 1000; ++n) {
        std::string name = path + ".damaged" + (n > 1 ? "-" + std::to_string(n) : "");
        if (lstat(name.c_str(), &st) == 0 || errno != ENOENT)
            continue;
        if (rename(path.c_str(), name.c_str()) != 0) {
            error = std::strerror(errno);
            return false;
        }
        aside = name;
        return true;
    }
    error = "no free name beside it";
    return false;
}

void reportDamagedUserFile(const std::wstring& what, const std::string& path,
                           const std::string& problem) {
    print(formatWide(L"\nThe %s file %s cannot be read in full: %s. What could be read is "
                     L"used; the file will be kept aside when it is next saved.",
                     what.c_str(), widen(path).c_str(), widen(problem).c_str()));
}

bool saveUserFile(const std::string& path, const std::string& content, bool& damaged,
                  const std::wstring& what) {
    std::string error;
    if (damaged) {
        std::string aside;
        if (!keepAside(path, aside, error)) {
            print(formatWide(L"\nThe %s could not be saved: the damaged file %s cannot be kept "
                             L"aside: %s",
                             what.c_str(), widen(path).c_str(), widen(error).c_str()));
            return false;
        }
        damaged = false;
        if (!aside.empty())
            print(formatWide(L"\nThe damaged %s file was kept as %s.", what.c_str(),
                             widen(aside).c_str()));
    }
    if (!writeFileAtomically(path, content, error)) {
        print(formatWide(L"\nThe %s could not be saved: %s", what.c_str(), widen(error).c_str()));
        return false;
    }
    return true;
}

} // namespace lmhost

LONG RegOpenKeyExW(HKEY hKey, LPCWSTR lpSubKey, DWORD, REGSAM, PHKEY phkResult) {
    if (!phkResult)
        return ERROR_INVALID_PARAMETER;
    *phkResult = nullptr;
    if (isOtherRoot(hKey))
        return ERROR_FILE_NOT_FOUND; // nothing of the machine's part is kept here
    load();
    std::wstring base;
    if (!resolve(hKey, base))
        return ERROR_INVALID_HANDLE;
    if (!validSubKey(lpSubKey))
        return ERROR_FILE_NOT_FOUND;
    std::wstring path = join(base, lpSubKey);
    if (!store().keys.count(lower(path)))
        return ERROR_FILE_NOT_FOUND;
    *phkResult = newHandle(path);
    return ERROR_SUCCESS;
}

LONG RegCreateKeyExW(HKEY hKey, LPCWSTR lpSubKey, DWORD, LPWSTR, DWORD, REGSAM,
                     LPSECURITY_ATTRIBUTES, PHKEY phkResult, LPDWORD lpdwDisposition) {
    if (!phkResult)
        return ERROR_INVALID_PARAMETER;
    *phkResult = nullptr;
    if (isOtherRoot(hKey))
        return ERROR_ACCESS_DENIED;
    load();
    std::wstring base;
    if (!resolve(hKey, base))
        return ERROR_INVALID_HANDLE;
    if (!lpSubKey || !validSubKey(lpSubKey))
        return ERROR_INVALID_PARAMETER;
    std::wstring path = join(base, lpSubKey);
    Store& s = store();
    bool existed = s.keys.count(lower(path)) > 0;
    if (!existed) {
        addKey(s, path);
        // A damaged store keeps the new key in memory until a value is written.
        if (!s.damaged && !save()) {
            s.keys.erase(lower(path));
            return ERROR_ACCESS_DENIED;
        }
    }
    if (lpdwDisposition)
        *lpdwDisposition = existed ? REG_OPENED_EXISTING_KEY : REG_CREATED_NEW_KEY;
    *phkResult = newHandle(path);
    return ERROR_SUCCESS;
}

LONG RegQueryValueExW(HKEY hKey, LPCWSTR lpValueName, LPDWORD, LPDWORD lpType, LPBYTE lpData,
                      LPDWORD lpcbData) {
    std::wstring path;
    if (!resolve(hKey, path))
        return ERROR_INVALID_HANDLE;
    if (lpData && !lpcbData)
        return ERROR_INVALID_PARAMETER;
    load();
    auto it = store().keys.find(lower(path));
    if (it == store().keys.end())
        return ERROR_FILE_NOT_FOUND;
    Value* v = findValue(it->second, lpValueName);
    if (!v)
        return ERROR_FILE_NOT_FOUND;
    if (lpType)
        *lpType = v->type;
    DWORD size = static_cast<DWORD>(v->data.size());
    if (lpData) {
        if (*lpcbData < size) {
            *lpcbData = size;
            return ERROR_MORE_DATA;
        }
        std::memcpy(lpData, v->data.data(), size);
    }
    if (lpcbData)
        *lpcbData = size;
    return ERROR_SUCCESS;
}

LONG RegSetValueExW(HKEY hKey, LPCWSTR lpValueName, DWORD, DWORD dwType, const BYTE* lpData,
                    DWORD cbData) {
    std::wstring path;
    if (!resolve(hKey, path))
        return ERROR_INVALID_HANDLE;
    if (!lpData && cbData)
        return ERROR_INVALID_PARAMETER;
    if (dwType == REG_DWORD && cbData != 4)
        return ERROR_INVALID_PARAMETER;
    load();
    Store& s = store();
    auto it = s.keys.find(lower(path));
    if (it == s.keys.end())
        return ERROR_FILE_NOT_FOUND;
    Value* v = findValue(it->second, lpValueName);
    Value previous;
    bool had = v != nullptr;
    if (!v) {
        it->second.values.push_back(Value{lpValueName ? lpValueName : L"", REG_NONE, {}});
        v = &it->second.values.back();
    } else {
        previous = *v;
    }
    v->type = dwType;
    v->data.assign(lpData, lpData + cbData);
    if (!save()) {
        if (had)
            *v = previous;
        else
            it->second.values.pop_back();
        return ERROR_ACCESS_DENIED;
    }
    return ERROR_SUCCESS;
}

LONG RegDeleteValueW(HKEY hKey, LPCWSTR lpValueName) {
    std::wstring path;
    if (!resolve(hKey, path))
        return ERROR_INVALID_HANDLE;
    load();
    auto it = store().keys.find(lower(path));
    if (it == store().keys.end() || !findValue(it->second, lpValueName))
        return ERROR_FILE_NOT_FOUND;
    std::wstring n = lower(lpValueName ? lpValueName : L"");
    std::erase_if(it->second.values, [&](const Value& v) { return lower(v.name) == n; });
    return save() ? ERROR_SUCCESS : ERROR_ACCESS_DENIED;
}

LONG RegCloseKey(HKEY hKey) {
    if (hKey == HKEY_CURRENT_USER || isOtherRoot(hKey))
        return ERROR_SUCCESS;
    auto* p = reinterpret_cast<std::wstring*>(hKey);
    if (!store().handles.erase(p))
        return ERROR_INVALID_HANDLE;
    delete p;
    return ERROR_SUCCESS;
}
