#include "DrawingText.h"

#include <cerrno>
#include <cmath>
#include <cwchar>
#include <cwctype>

#include "acdocman.h"
#include "acutads.h"
#include "dbapserv.h"
#include "dbsymtb.h"
#include "sdk/WideFormat.h"
#include "sdk/control/HostControl.h"
#include "windows.h"

namespace shell {

lmhost::CommandResult refuse(const std::wstring& text) {
    lmhost::print(L"\n" + text);
    return lmhost::CommandResult::Failed;
}

void say(const std::wstring& text) {
    lmhost::print(L"\n" + text);
}

std::optional<double> parseNumber(const std::wstring& text) {
    if (text.empty() || std::iswspace(text[0]))
        return std::nullopt;
    wchar_t* end = nullptr;
    double value = std::wcstod(text.c_str(), &end);
    if (!end || *end || !std::isfinite(value))
        return std::nullopt;
    return value;
}

std::optional<long> parseInteger(const std::wstring& text) {
    if (text.empty() || std::iswspace(text[0]))
        return std::nullopt;
    wchar_t* end = nullptr;
    errno = 0;
    long value = std::wcstol(text.c_str(), &end, 10);
    if (!end || *end || errno == ERANGE)
        return std::nullopt;
    return value;
}

std::optional<AcGePoint3d> parsePoint(const std::wstring& text) {
    double v[3] = {0, 0, 0};
    size_t start = 0;
    int n = 0;
    while (true) {
        size_t comma = text.find(L',', start);
        if (n == 3)
            return std::nullopt;
        auto number = parseNumber(text.substr(start, comma - start));
        if (!number)
            return std::nullopt;
        v[n++] = *number;
        if (comma == std::wstring::npos)
            break;
        start = comma + 1;
    }
    if (n < 2)
        return std::nullopt;
    return AcGePoint3d(v[0], v[1], v[2]);
}

AcGePoint3d ucsToWorld(const AcGePoint3d& point) {
    ads_point in = {point.x, point.y, point.z}, out = {0, 0, 0};
    if (!acdbUcs2Wcs(in, out, false))
        return point;
    return AcGePoint3d(out[0], out[1], out[2]);
}

std::wstring formatNumber(double value) {
    return lmhost::formatWide(L"%g", value);
}

std::wstring formatPoint(const AcGePoint3d& point) {
    return formatNumber(point.x) + L"," + formatNumber(point.y) + L"," + formatNumber(point.z);
}

std::wstring valueText(const AcDbEvalVariant& value) {
    switch (value.restype) {
    case AcDb::kDxfReal:
        return formatNumber(value.resval.rreal);
    case AcDb::kDxfInt16:
        return std::to_wstring(value.resval.rint);
    case AcDb::kDxfInt32:
        return std::to_wstring(value.resval.rlong);
    case AcDb::kDxfText:
        return L"\"" + std::wstring(value.resval.rstring ? value.resval.rstring : L"") + L"\"";
    case AcDb::kDxfXCoord:
        return formatPoint(
            AcGePoint3d(value.resval.rpoint[0], value.resval.rpoint[1], value.resval.rpoint[2]));
    default:
        return L"(none)";
    }
}

AcDbDatabase* currentDatabase() {
    if (acDocManagerPtr()->documentCount() == 0) {
        say(L"No drawing is open.");
        return nullptr;
    }
    return acdbHostApplicationServices()->workingDatabase();
}

bool objectOfHandle(AcDbDatabase* database, const std::wstring& handle, AcDbObjectId& id) {
    AcDbHandle value(handle.c_str());
    bool hex = !handle.empty() && handle.size() <= 16 &&
               handle.find_first_not_of(L"0123456789abcdefABCDEF") == std::wstring::npos;
    if (!hex || value.isNull()) {
        say(L"\"" + handle + L"\" is no handle.");
        return false;
    }
    if (database->getAcDbObjectId(id, false, value) != Acad::eOk || id.isErased()) {
        say(L"No object has the handle " + handle + L".");
        return false;
    }
    return true;
}

std::wstring handleText(AcDbObjectId id) {
    wchar_t text[260] = {0};
    id.handle().getIntoAsciiBuffer(text);
    return text;
}

std::wstring className(AcDbObjectId id) {
    AcRxClass* cls = id.objectClass();
    return cls ? cls->name() : L"?";
}

std::wstring visible(const std::wstring& text) {
    std::wstring shown;
    for (wchar_t c : text) {
        if (c < 0x20 || c == 0x7F)
            shown += lmhost::formatWide(L"<%02X>", static_cast<unsigned>(c));
        else
            shown += c;
    }
    return shown;
}

bool appendXdataText(AcDbObjectId id, const std::wstring& application, const std::wstring& text,
                     std::wstring& why) {
    AcDbObject* object = nullptr;
    if (Acad::ErrorStatus es = acdbOpenAcDbObject(object, id, AcDb::kForRead)) {
        why = std::wstring(L"the object cannot be opened (") + acadErrorStatusText(es) + L")";
        return false;
    }
    resbuf* chain = object->xData(application.c_str());
    if (chain) {
        resbuf* last = chain;
        while (last->rbnext)
            last = last->rbnext;
        resbuf* entry = acutNewRb(1000);
        acutNewString(text.c_str(), entry->resval.rstring);
        last->rbnext = entry;
    } else {
        acdbRegApp(application.c_str());
        chain = acutNewRb(1001);
        acutNewString(application.c_str(), chain->resval.rstring);
        chain->rbnext = acutNewRb(1000);
        acutNewString(text.c_str(), chain->rbnext->resval.rstring);
    }
    Acad::ErrorStatus es = object->upgradeOpen();
    if (es == Acad::eOk)
        es = object->setXData(chain);
    acutRelRb(chain);
    object->close();
    if (es != Acad::eOk) {
        why = std::wstring(L"the xdata was refused (") + acadErrorStatusText(es) + L")";
        return false;
    }
    return true;
}

} // namespace shell
