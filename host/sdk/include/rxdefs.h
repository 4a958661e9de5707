// The host's application messages and the answers an application gives them.
#pragma once

namespace AcRx {

enum AppMsgCode {
    kNullMsg = 0,
    kInitAppMsg = 1,
    kUnloadAppMsg = 2,
    kLoadDwgMsg = 3,
    kUnloadDwgMsg = 4,
    kInvkSubrMsg = 5,
    kCfgMsg = 6,
    kEndMsg = 7,
    kQuitMsg = 8,
    kSaveMsg = 9,
    kDependencyMsg = 10,
    kNoDependencyMsg = 11,
    kOleUnloadAppMsg = 12,
    kPreQuitMsg = 13,
    kInitDialogMsg = 14,
    kEndDialogMsg = 15,
    kSuspendMsg = 16
};

enum AppRetCode { kRetOK = 0, kRetError = 3 };

} // namespace AcRx

// The version of the application interface this host speaks; acrxGetApiVersion answers it.
#define ACRX_API_VERSION 25
