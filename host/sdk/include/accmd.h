// The host's command stack: commands registered by group, global and local name.
#pragma once

#include "acadstrc.h"
#include "rxdict.h"
#include "windows.h"

#define ACRX_CMD_MODAL 0x00000000
#define ACRX_CMD_TRANSPARENT 0x00000001
#define ACRX_CMD_USEPICKSET 0x00000002
#define ACRX_CMD_REDRAW 0x00000004
#define ACRX_CMD_NOPERSPECTIVE 0x00000008
#define ACRX_CMD_NOMULTIPLE 0x00000010
#define ACRX_CMD_NOTILEMODE 0x00000020
#define ACRX_CMD_NOPAPERSPACE 0x00000040
#define ACRX_CMD_UNDEFINED 0x00000400
#define ACRX_CMD_INPROGRESS 0x01000000
#define ACRX_CMD_DEFUN 0x00008000
#define ACRX_CMD_NOINTERNALLOCK 0x00080000
#define ACRX_CMD_SESSION 0x00200000

typedef void (*AcRxFunctionPtr)();

class AcEdUIContext;

class AcEdCommand : public AcRxObject {
public:
    ACRX_DECLARE_MEMBERS(AcEdCommand);
    const ACHAR* groupName() const;
    const ACHAR* globalName() const;
    const ACHAR* localName() const;
    Adesk::Int32 commandFlags() const;
    AcRxFunctionPtr functionAddr() const;
    AcEdUIContext* UIContext() const;
    int functionCode() const;
    HINSTANCE resourceHandle() const;

    struct Data;
    explicit AcEdCommand(Data* data) : m_data(data) {}
    ~AcEdCommand() override;

private:
    Data* m_data;
};

class AcEdCommandStack : public AcRxObject {
public:
    ACRX_DECLARE_MEMBERS(AcEdCommandStack);

    // eDuplicateKey when the group already has a command of that global or local name;
    // eInvalidInput for a missing name or function.
    Acad::ErrorStatus addCommand(const ACHAR* cmdGroupName, const ACHAR* cmdGlobalName,
                                 const ACHAR* cmdLocalName, Adesk::Int32 commandFlags,
                                 AcRxFunctionPtr functionAddr, AcEdUIContext* UIContext = nullptr,
                                 int fcode = -1, HINSTANCE hResourceHandle = nullptr,
                                 AcEdCommand** cmdPtrRet = nullptr);
    // eKeyNotFound when the group has no such command.
    Acad::ErrorStatus removeCmd(const ACHAR* cmdGroupName, const ACHAR* cmdGlobalName);
    Acad::ErrorStatus removeGroup(const ACHAR* groupName);

    // Names compare without regard to case; groups are searched newest first.
    AcEdCommand* lookupGlobalCmd(const ACHAR* cmdName);
    AcEdCommand* lookupLocalCmd(const ACHAR* cmdName);
    AcEdCommand* lookupCmd(const ACHAR* cmdName, bool globalFlag);
};

#define acedRegCmds AcEdCommandStack::cast(acrxSysRegistry()->at(ACRX_COMMAND_DOCK))
