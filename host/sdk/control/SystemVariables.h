// The host's system variables, behind acedGetVar and acedSetVar.
#pragma once

#include <string>
#include <variant>

namespace lmhost {

using SystemVariableValue = std::variant<short, int, double, std::wstring>;

// Back to the host's defaults (OSMODE 4133, FILEDIA 1, LUNITS 2, LUPREC 4, AUNITS 0, ...).
void resetSystemVariables();
// The host's own access, with no range checks: the shell and tests set read-only ones too.
bool setSystemVariable(const std::wstring& name, const SystemVariableValue& value);
bool getSystemVariable(const std::wstring& name, SystemVariableValue& value);

} // namespace lmhost
