// An application with a long command table, built optimised in every configuration, so that
// the default (debug) test run sees the table's order as an optimised build gives it.
#include "accmd.h"
#include "acrxEntryPoint.h"

HINSTANCE _hdllInstance = nullptr;

namespace {

void nothing() {}

class CProbeApp : public AcRxArxApp {
public:
    void RegisterServerComponents() override {}
};

} // namespace

ACED_ARXCOMMAND_ENTRY(L"ORDER", L"_Order01", L"Order01", ACRX_CMD_MODAL, nothing);
ACED_ARXCOMMAND_ENTRY(L"ORDER", L"_Order02", L"Order02", ACRX_CMD_MODAL, nothing);
ACED_ARXCOMMAND_ENTRY(L"ORDER", L"_Order03", L"Order03", ACRX_CMD_MODAL, nothing);
ACED_ARXCOMMAND_ENTRY(L"ORDER", L"_Order04", L"Order04", ACRX_CMD_MODAL, nothing);
ACED_ARXCOMMAND_ENTRY(L"ORDER", L"_Order05", L"Order05", ACRX_CMD_MODAL, nothing);
ACED_ARXCOMMAND_ENTRY(L"ORDER", L"_Order06", L"Order06", ACRX_CMD_MODAL, nothing);
ACED_ARXCOMMAND_ENTRY(L"ORDER", L"_Order07", L"Order07", ACRX_CMD_MODAL, nothing);
ACED_ARXCOMMAND_ENTRY(L"ORDER", L"_Order08", L"Order08", ACRX_CMD_MODAL, nothing);
ACED_ARXCOMMAND_ENTRY(L"ORDER", L"_Order09", L"Order09", ACRX_CMD_MODAL, nothing);
ACED_ARXCOMMAND_ENTRY(L"ORDER", L"_Order10", L"Order10", ACRX_CMD_MODAL, nothing);
ACED_ARXCOMMAND_ENTRY(L"ORDER", L"_Order11", L"Order11", ACRX_CMD_MODAL, nothing);
ACED_ARXCOMMAND_ENTRY(L"ORDER", L"_Order12", L"Order12", ACRX_CMD_MODAL, nothing);

IMPLEMENT_ARX_ENTRYPOINT(CProbeApp)
