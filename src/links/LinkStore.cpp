#include "links/LinkStore.h"

#include "acutads.h"
#include "dbsymtb.h"

namespace {

bool isEmptyName(const wchar_t* appName) {
    return !appName || !*appName;
}

// Every stored text that counts, in order: 1000 entries outside the 1002 brackets.
template <class F> void forEachLinkText(const resbuf* chain, F f) {
    bool skipping = false;
    for (const resbuf* rb = chain; rb; rb = rb->rbnext) {
        if (rb->restype == 1002)
            skipping = !skipping;
        else if (!skipping && rb->restype == 1000)
            if (!f(rb->resval.rstring ? rb->resval.rstring : L""))
                return;
    }
}

bool appendText(AcDbObject* object, const wchar_t* appName, const CString& text) {
    resbuf* chain = object->xData(appName);
    resbuf* last;
    if (chain) {
        // The last entry is never compared, so a text equal to it is stored again.
        for (last = chain; last->rbnext; last = last->rbnext) {
            if (last->restype == 1000 &&
                text.CompareNoCase(last->resval.rstring ? last->resval.rstring : L"") == 0) {
                acutRelRb(chain);
                return true;
            }
        }
    } else {
        acdbRegApp(appName);
        chain = acutNewRb(1001);
        acutNewString(appName, chain->resval.rstring);
        last = chain;
    }
    last->rbnext = acutNewRb(1000);
    acutNewString(text, last->rbnext->resval.rstring);
    object->upgradeOpen();
    object->setXData(chain);
    acutRelRb(chain);
    return true;
}

bool removeText(AcDbObject* object, const wchar_t* appName, const CString& text) {
    resbuf* chain = object->xData(appName);
    if (!chain)
        return false;
    resbuf* previous = nullptr;
    resbuf* entry = chain;
    while (entry &&
           !(entry->restype == 1000 &&
             text.CompareNoCase(entry->resval.rstring ? entry->resval.rstring : L"") == 0)) {
        previous = entry;
        entry = entry->rbnext;
    }
    if (!entry) {
        acutRelRb(chain);
        return false;
    }
    // The 1001 entry comes first, so the found entry always has a predecessor.
    previous->rbnext = entry->rbnext;
    entry->rbnext = nullptr;
    acutRelRb(entry);
    object->upgradeOpen();
    Acad::ErrorStatus es = object->setXData(chain);
    acutRelRb(chain);
    return es == Acad::eOk;
}

} // namespace

bool setXdata(AcDbObjectId id, const wchar_t* appName, CString text) {
    AcDbObject* object = nullptr;
    if (acdbOpenObject(object, id, AcDb::kForRead) != Acad::eOk) {
        acutPrintf(L"acdbOpenEntity failed in setXdata function");
        return false;
    }
    bool stored = false;
    if (object && !isEmptyName(appName))
        stored = appendText(object, appName, text);
    if (object)
        object->close();
    return stored;
}

bool setXdata(AcDbObject* object, const wchar_t* appName, CString text) {
    if (!object || isEmptyName(appName))
        return false;
    return appendText(object, appName, text);
}

bool deleteXdata(AcDbObjectId id, const wchar_t* appName, CString text) {
    AcDbObject* object = nullptr;
    if (acdbOpenObject(object, id, AcDb::kForRead) != Acad::eOk) {
        acutPrintf(L"acdbOpenEntity failed in deleteXdata function");
        return false;
    }
    bool removed = false;
    if (object && !isEmptyName(appName))
        removed = removeText(object, appName, text);
    if (object)
        object->close();
    return removed;
}

bool deleteXdata(AcDbObject* object, const wchar_t* appName, CString text) {
    if (!object || isEmptyName(appName))
        return false;
    return removeText(object, appName, text);
}

bool getFirstLinkText(const AcDbObject* object, CString& text) {
    text.Empty();
    if (!object)
        return false;
    resbuf* chain = object->xData(kDirectLinkApp);
    if (!chain)
        return false;
    bool found = false;
    forEachLinkText(chain, [&](const wchar_t* entry) {
        text = entry;
        found = true;
        return false;
    });
    acutRelRb(chain);
    return found;
}

bool getAllLinkTexts(const AcDbObject* object, const wchar_t* appName, CStringArray& texts) {
    if (object && !isEmptyName(appName)) {
        resbuf* chain = object->xData(appName);
        forEachLinkText(chain, [&](const wchar_t* entry) {
            texts.Add(entry);
            return true;
        });
        acutRelRb(chain);
    }
    return !texts.IsEmpty();
}
