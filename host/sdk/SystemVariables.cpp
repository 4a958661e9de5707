#include "sdk/control/SystemVariables.h"

#include <map>
#include <optional>

#include "acedads.h"
#include "acutads.h"
#include "windows.h"

namespace lmhost {

namespace {

struct Variable {
    SystemVariableValue value;
    double low;
    double high;
    bool readOnly;
};

struct NoCaseLess {
    bool operator()(const std::wstring& a, const std::wstring& b) const {
        return _wcsicmp(a.c_str(), b.c_str()) < 0;
    }
};

using Table = std::map<std::wstring, Variable, NoCaseLess>;

Table defaults() {
    Table t;
    t[L"OSMODE"] = {short(4133), 0, 32767, false};
    t[L"APERTURE"] = {short(10), 1, 50, false};
    t[L"FILEDIA"] = {short(1), 0, 1, false};
    t[L"CMDECHO"] = {short(1), 0, 1, false};
    t[L"LUNITS"] = {short(2), 1, 5, false};
    t[L"LUPREC"] = {short(4), 0, 8, false};
    t[L"AUNITS"] = {short(0), 0, 4, false};
    t[L"AUPREC"] = {short(0), 0, 8, false};
    t[L"ANGBASE"] = {0.0, -1e300, 1e300, false};
    t[L"ANGDIR"] = {short(0), 0, 1, false};
    t[L"DIMZIN"] = {short(0), 0, 15, false};
    t[L"TEXTSIZE"] = {0.2, 0, 1e300, false};
    t[L"TEXTSTYLE"] = {std::wstring(L"Standard"), 0, 0, false};
    t[L"CTABLESTYLE"] = {std::wstring(L"Standard"), 0, 0, false};
    t[L"DWGNAME"] = {std::wstring(L"Drawing1.dwg"), 0, 0, true};
    t[L"DWGPREFIX"] = {std::wstring(L""), 0, 0, true};
    t[L"CVPORT"] = {short(2), 1, 32767, false};
    t[L"TILEMODE"] = {short(1), 0, 1, false};
    t[L"ACADVER"] = {std::wstring(L"25.0s"), 0, 0, true};
    return t;
}

Table& table() {
    static Table t = defaults();
    return t;
}

} // namespace

void resetSystemVariables() {
    table() = defaults();
}

bool setSystemVariable(const std::wstring& name, const SystemVariableValue& value) {
    auto it = table().find(name);
    if (it == table().end()) {
        table()[name] = {value, -1e300, 1e300, false};
        return true;
    }
    it->second.value = value;
    return true;
}

bool getSystemVariable(const std::wstring& name, SystemVariableValue& value) {
    auto it = table().find(name);
    if (it == table().end())
        return false;
    value = it->second.value;
    return true;
}

} // namespace lmhost

int acedGetVar(const ACHAR* name, resbuf* result) {
    if (!name || !result)
        return RTERROR;
    lmhost::SystemVariableValue value;
    if (!lmhost::getSystemVariable(name, value))
        return RTERROR;
    if (auto* s = std::get_if<short>(&value)) {
        result->restype = RTSHORT;
        result->resval.rint = *s;
    } else if (auto* i = std::get_if<int>(&value)) {
        result->restype = RTLONG;
        result->resval.rlong = *i;
    } else if (auto* d = std::get_if<double>(&value)) {
        result->restype = RTREAL;
        result->resval.rreal = *d;
    } else {
        result->restype = RTSTR;
        ACHAR* copy = nullptr;
        acutNewString(std::get<std::wstring>(value).c_str(), copy);
        result->resval.rstring = copy;
    }
    return RTNORM;
}

int acedSetVar(const ACHAR* name, const resbuf* value) {
    if (!name || !value)
        return RTERROR;
    lmhost::SystemVariableValue current;
    if (!lmhost::getSystemVariable(name, current))
        return RTERROR;
    auto& table = lmhost::table();
    const lmhost::Variable& variable = table.find(name)->second;
    if (variable.readOnly)
        return RTERROR;
    std::optional<double> number;
    switch (value->restype) {
    case RTSHORT:
        number = value->resval.rint;
        break;
    case RTLONG:
        number = value->resval.rlong;
        break;
    case RTREAL:
    case RTANG:
        number = value->resval.rreal;
        break;
    case RTSTR:
        if (!std::holds_alternative<std::wstring>(current) || !value->resval.rstring)
            return RTERROR;
        lmhost::setSystemVariable(name, std::wstring(value->resval.rstring));
        return RTNORM;
    default:
        return RTERROR;
    }
    if (std::holds_alternative<std::wstring>(current))
        return RTERROR;
    if (*number < variable.low || *number > variable.high)
        return RTERROR;
    if (std::holds_alternative<short>(current)) {
        if (*number != static_cast<double>(static_cast<short>(*number)))
            return RTERROR;
        lmhost::setSystemVariable(name, static_cast<short>(*number));
    } else if (std::holds_alternative<int>(current)) {
        lmhost::setSystemVariable(name, static_cast<int>(*number));
    } else {
        lmhost::setSystemVariable(name, *number);
    }
    return RTNORM;
}
