// The host's menu groups and menu bar, kept for the user in the config directory (file
// "menus": one "bar=" line with the titles, one "group=" line per loaded group).
#include "sdk/control/Menus.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cwchar>
#include <cwctype>
#include <sstream>
#include <string_view>

#include "WideFormat.h"
#include "acedmenu.h"
#include "sdk/control/Commands.h"
#include "sdk/control/HostControl.h"
#include "sdk/control/Registry.h"
#include "windows.h"

namespace {

struct MenuGroup {
    std::wstring name;
    std::wstring file;
};

struct MenuState {
    bool loaded = false;
    bool damaged = false; // kept aside before the next save
    std::vector<std::wstring> bar;
    std::vector<MenuGroup> groups;
};

MenuState& menus() {
    static MenuState s;
    return s;
}

const std::vector<std::wstring> kDefaultBar = {L"File",   L"Edit",       L"View",   L"Insert",
                                               L"Format", L"Tools",      L"Draw",   L"Dimension",
                                               L"Modify", L"Parametric", L"Window", L"Help"};

std::string menuFile() {
    return lmhost::userConfigDirectory() + "/menus";
}

std::vector<std::wstring> splitBar(const std::wstring& text) {
    std::vector<std::wstring> parts;
    std::wstringstream in(text);
    std::wstring part;
    while (std::getline(in, part, L'|'))
        if (!part.empty())
            parts.push_back(part);
    return parts;
}

constexpr size_t kMaxMenuStateBytes = 1 << 20;

void load() {
    MenuState& s = menus();
    if (s.loaded)
        return;
    s.loaded = true;
    s.bar = kDefaultBar;
    s.groups.clear();
    std::string path = menuFile();
    lmhost::UserFile file = lmhost::readUserFile(path, kMaxMenuStateBytes);
    if (!file.exists)
        return;
    std::string problem = file.problem;
    std::string_view bytes = file.bytes;
    if (bytes.starts_with("\xEF\xBB\xBF"))
        bytes.remove_prefix(3);
    size_t number = 0;
    while (!bytes.empty()) {
        ++number;
        size_t end = bytes.find('\n');
        std::string_view raw = bytes.substr(0, end);
        bytes.remove_prefix(end == std::string_view::npos ? bytes.size() : end + 1);
        if (!raw.empty() && raw.back() == '\r')
            raw.remove_suffix(1);
        std::wstring w = lmhost::widen(std::string(raw));
        bool understood = w.empty();
        if (w.rfind(L"bar=", 0) == 0) {
            s.bar = splitBar(w.substr(4));
            understood = true;
        } else if (w.rfind(L"group=", 0) == 0) {
            std::wstring rest = w.substr(6);
            size_t bar = rest.find(L'|');
            if (bar != std::wstring::npos && bar > 0) {
                s.groups.push_back({rest.substr(0, bar), rest.substr(bar + 1)});
                understood = true;
            }
        }
        if (!understood && problem.empty())
            problem = "line " + std::to_string(number) + " is not understood";
    }
    if (problem.empty())
        return;
    s.damaged = true;
    lmhost::reportDamagedUserFile(L"menu state", path, problem);
}

void save() {
    MenuState& s = menus();
    std::wstring out = L"bar=";
    for (size_t i = 0; i < s.bar.size(); ++i)
        out += (i ? L"|" : L"") + s.bar[i];
    out += L"\n";
    for (const MenuGroup& g : s.groups)
        out += L"group=" + g.name + L"|" + g.file + L"\n";
    lmhost::saveUserFile(menuFile(), lmhost::narrow(out), s.damaged, L"menu state");
}

MenuGroup* findGroup(const std::wstring& name) {
    for (MenuGroup& g : menus().groups)
        if (_wcsicmp(g.name.c_str(), name.c_str()) == 0)
            return &g;
    return nullptr;
}

std::wstring groupNameOf(const std::wstring& path) {
    size_t slash = path.find_last_of(L"/\\");
    std::wstring name = slash == std::wstring::npos ? path : path.substr(slash + 1);
    size_t dot = name.rfind(L'.');
    return dot == std::wstring::npos || dot == 0 ? name : name.substr(0, dot);
}

bool readNumber(const std::wstring& text, size_t& pos, int& out) {
    size_t start = pos;
    long value = 0;
    while (pos < text.size() && std::iswdigit(text[pos]) && pos - start < 6)
        value = value * 10 + (text[pos++] - L'0');
    out = static_cast<int>(value);
    return pos > start && (pos >= text.size() || !std::iswdigit(text[pos]));
}

lmhost::CommandResult menuLoadCommand(const std::vector<std::wstring>& args) {
    if (args.empty()) {
        lmhost::print(L"\nMENULOAD needs the path of a customization file.");
        return lmhost::CommandResult::Failed;
    }
    std::wstring error;
    if (!lmhost::loadMenuFile(args[0], error)) {
        lmhost::print(L"\n" + error);
        return lmhost::CommandResult::Failed;
    }
    return lmhost::CommandResult::Ended;
}

struct RegisterMenuCommands {
    RegisterMenuCommands() {
        lmhost::registerHostCommand(L"MENULOAD", menuLoadCommand,
                                    L"MENULOAD file: load a customization file's menu group");
        lmhost::registerHostCommand(
            L"MENUUNLOAD",
            [](const std::vector<std::wstring>& args) {
                if (args.empty() || !lmhost::unloadMenuGroup(args[0])) {
                    lmhost::print(L"\nNo such menu group is loaded.");
                    return lmhost::CommandResult::Failed;
                }
                return lmhost::CommandResult::Ended;
            },
            L"MENUUNLOAD group: unload a menu group and take its menus off the bar");
    }
};
RegisterMenuCommands registerMenuCommands;

} // namespace

namespace lmhost {

std::vector<std::wstring> menuBar() {
    load();
    return menus().bar;
}

void setMenuBar(const std::vector<std::wstring>& titles) {
    load();
    menus().bar = titles;
    save();
}

std::vector<std::wstring> loadedMenuGroups() {
    load();
    std::vector<std::wstring> names;
    for (const MenuGroup& g : menus().groups)
        names.push_back(g.name);
    return names;
}

bool loadMenuFile(const std::wstring& path, std::wstring& error) {
    load();
    // Looked at before it is opened: opening a FIFO would wait for a writer.
    struct stat st;
    if (stat(narrow(path).c_str(), &st) != 0 || !S_ISREG(st.st_mode) ||
        access(narrow(path).c_str(), R_OK) != 0) {
        error = formatWide(L"Unable to load the customization file \"%s\".", path.c_str());
        return false;
    }
    std::wstring name = groupNameOf(path);
    if (MenuGroup* g = findGroup(name))
        g->file = path;
    else
        menus().groups.push_back({name, path});
    save();
    return true;
}

bool unloadMenuGroup(const std::wstring& group) {
    load();
    MenuGroup* g = findGroup(group);
    if (!g)
        return false;
    std::wstring name = g->name;
    std::erase_if(menus().groups, [&](const MenuGroup& m) { return &m == g; });
    std::erase_if(menus().bar,
                  [&](const std::wstring& t) { return _wcsicmp(t.c_str(), name.c_str()) == 0; });
    save();
    return true;
}

void resetMenus() {
    menus() = MenuState();
}

} // namespace lmhost

bool acedIsMenuGroupLoaded(const ACHAR* groupName) {
    load();
    return groupName && findGroup(groupName) != nullptr;
}

int acedMenuCmd(const ACHAR* command) {
    if (!command)
        return RTERROR;
    load();
    std::wstring text = command;
    MenuState& s = menus();
    size_t pos = 0;
    int n = 0;
    if (text.empty() || std::towupper(text[0]) != L'P')
        return RTERROR;
    ++pos;
    if (!readNumber(text, pos, n) || n < 1)
        return RTERROR;
    std::wstring rest = text.substr(pos);
    if (rest.size() > 1 && rest[0] == L'.' && rest.back() == L'?') {
        // The state of an item of the n-th menu: it answers as long as the menu exists.
        return static_cast<size_t>(n) <= s.bar.size() ? RTKWORD : RTERROR;
    }
    if (rest == L"=-") {
        if (static_cast<size_t>(n) > s.bar.size())
            return RTERROR;
        s.bar.erase(s.bar.begin() + (n - 1));
        save();
        return RTNORM;
    }
    if (rest.rfind(L"=+", 0) == 0) {
        std::wstring target = rest.substr(2);
        size_t dot = target.find(L'.');
        if (dot == std::wstring::npos)
            return RTERROR;
        MenuGroup* g = findGroup(target.substr(0, dot));
        std::wstring pop = target.substr(dot + 1);
        if (!g || _wcsnicmp(pop.c_str(), L"pop", 3) != 0)
            return RTERROR;
        std::wstring title = g->name;
        // A menu already on the bar moves to the new place.
        std::erase_if(
            s.bar, [&](const std::wstring& t) { return _wcsicmp(t.c_str(), title.c_str()) == 0; });
        size_t at = std::min(static_cast<size_t>(n - 1), s.bar.size());
        s.bar.insert(s.bar.begin() + static_cast<std::ptrdiff_t>(at), title);
        save();
        return RTNORM;
    }
    return RTERROR;
}
