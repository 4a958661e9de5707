// The two handlers around every automation step of the bridge.
#pragma once

#include "afxdisp.h"
#include "comdef.h"
#include "excel/ExcelUtils.h"

// A _com_error is dropped; any other failure goes through COleException::Process to
// ExcelUtils::ReportOleError. Both give the failure value.
template <class Result, class Step> Result excelStep(Result failure, Step step) {
    try {
        return step();
    } catch (_com_error&) {
        return failure;
    } catch (CException* e) {
        ExcelUtils::ReportOleError(COleException::Process(e));
        e->Delete();
        return failure;
    }
}
