// The registry calls over a per-user store file. The file is in the registry editor's
// export format, so that a user can read it:
//
//   Windows Registry Editor Version 5.00
//
//   [HKEY_CURRENT_USER\software\Norvane\Linkmesh]
//   "ActiveMenu"=dword:00000000
//
// A store that cannot be read or parsed reads as empty, is reported once on the command
// line, and stays untouched on disk until a value is written.
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
    bool broken = false;
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

bool parseStore(const std::string& content, Store& s) {
    std::wstring text = lmhost::widen(content);
    std::wstringstream in(text);
    std::wstring line;
    bool header = false;
    Key* current = nullptr;
    while (std::getline(in, line)) {
        if (!line.empty() && line.back() == L'\r')
            line.pop_back();
        if (!header) {
            if (line.empty())
                continue;
            if (line != lmhost::widen(kHeader))
                return false;
            header = true;
            continue;
        }
        if (line.empty())
            continue;
        if (line.front() == L'[') {
            if (line.back() != L']')
                return false;
            std::wstring path = line.substr(1, line.size() - 2);
            std::wstring root = kRootName;
            if (path == root)
                path.clear();
            else if (path.rfind(root + L"\\", 0) == 0)
                path = path.substr(root.size() + 1);
            else
                return false;
            if (path.find(L"\\\\") != std::wstring::npos || (!path.empty() && path.back() == L'\\'))
                return false;
            addKey(s, path);
            current = &s.keys[lower(path)];
            continue;
        }
        Value value;
        if (!current || !parseValue(line, value))
            return false;
        current->values.push_back(std::move(value));
    }
    return header;
}

void load() {
    Store& s = store();
    if (s.loaded)
        return;
    s.loaded = true;
    s.keys.clear();
    addBuiltInKeys(s);
    std::string path = lmhost::settingsStorePath();
    struct stat st;
    if (stat(path.c_str(), &st) != 0 && errno == ENOENT)
        return; // a first run
    std::ifstream file(path, std::ios::binary);
    std::string content;
    bool ok = file && st.st_size >= 0 && static_cast<size_t>(st.st_size) <= kMaxStoreBytes;
    if (ok) {
        std::ostringstream buffer;
        buffer << file.rdbuf();
        content = buffer.str();
        ok = !file.bad() && content.size() <= kMaxStoreBytes;
    }
    Store parsed;
    addBuiltInKeys(parsed);
    if (ok && parseStore(content, parsed)) {
        s.keys = std::move(parsed.keys);
        return;
    }
    s.broken = true;
    if (!s.reported) {
        s.reported = true;
        lmhost::print(lmhost::formatWide(L"\nThe settings file %s cannot be read; settings "
                                         L"take their defaults until one is saved.",
                                         lmhost::widen(path).c_str()));
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
    std::string error;
    if (!lmhost::writeFileAtomically(lmhost::settingsStorePath(), serialize(s), error))
        return false;
    s.broken = false; // what was broken is now replaced
    return true;
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
    s.loaded = s.broken = s.reported = false;
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
        // A broken store keeps the new key in memory until a value is written.
        if (!s.broken && !save()) {
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
