#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <cwchar>

#include "ResultBuffers.h"
#include "acutads.h"

namespace lmhost {

// Which value a group code or result type carries, as the host's group code ranges say.
ResbufKind resbufKind(int type) {
    if (type == RTSTR || type == RTKWORD || (type >= 0 && type <= 9) ||
        (type >= 100 && type <= 102) || type == 105 || (type >= 300 && type <= 309) ||
        (type >= 410 && type <= 419) || (type >= 430 && type <= 439) ||
        (type >= 470 && type <= 479) || (type >= 999 && type <= 1003) || type == 1005)
        return ResbufKind::Text;
    if ((type >= 310 && type <= 319) || type == 1004)
        return ResbufKind::Binary;
    if (type == RTPOINT || type == RT3DPOINT || (type >= 10 && type <= 18) ||
        (type >= 110 && type <= 112) || (type >= 210 && type <= 219) ||
        (type >= 1010 && type <= 1013))
        return ResbufKind::Point;
    if (type == RTREAL || type == RTANG || (type >= 38 && type <= 59) ||
        (type >= 140 && type <= 149) || (type >= 460 && type <= 469) ||
        (type >= 1040 && type <= 1042))
        return ResbufKind::Real;
    if (type == RTSHORT || (type >= 60 && type <= 79) || (type >= 170 && type <= 179) ||
        (type >= 270 && type <= 289) || (type >= 370 && type <= 389) ||
        (type >= 400 && type <= 409) || type == 1070)
        return ResbufKind::Short;
    if (type == RTLONG || (type >= 90 && type <= 99) || (type >= 420 && type <= 429) ||
        (type >= 440 && type <= 459) || type == 1071)
        return ResbufKind::Long;
    if (type == RTENAME || type == RTPICKS || (type >= -4 && type <= -1) ||
        (type >= 330 && type <= 369) || (type >= 390 && type <= 399))
        return ResbufKind::Name;
    if (type == 160 || type == RTINT64)
        return ResbufKind::Int64;
    return ResbufKind::None;
}

wchar_t* duplicateText(const wchar_t* text) {
    if (!text)
        return nullptr;
    size_t n = std::wcslen(text) + 1;
    wchar_t* copy = static_cast<wchar_t*>(std::malloc(n * sizeof(wchar_t)));
    std::wmemcpy(copy, text, n);
    return copy;
}

resbuf* copyResbuf(const resbuf* rb) {
    resbuf* copy = acutNewRb(rb->restype);
    copy->resval = rb->resval;
    switch (resbufKind(rb->restype)) {
    case ResbufKind::Text:
        copy->resval.rstring = duplicateText(rb->resval.rstring);
        break;
    case ResbufKind::Binary:
        if (rb->resval.rbinary.buf && rb->resval.rbinary.clen > 0) {
            copy->resval.rbinary.buf = static_cast<char*>(std::malloc(rb->resval.rbinary.clen));
            std::memcpy(copy->resval.rbinary.buf, rb->resval.rbinary.buf, rb->resval.rbinary.clen);
        } else {
            copy->resval.rbinary.buf = nullptr;
        }
        break;
    default:
        break;
    }
    return copy;
}

resbuf* copyChain(const resbuf* chain, const resbuf* end) {
    resbuf* head = nullptr;
    resbuf** tail = &head;
    for (const resbuf* rb = chain; rb && rb != end; rb = rb->rbnext) {
        *tail = copyResbuf(rb);
        tail = &(*tail)->rbnext;
    }
    return head;
}

} // namespace lmhost

using lmhost::ResbufKind;

resbuf* acutNewRb(int type) {
    resbuf* rb = static_cast<resbuf*>(std::calloc(1, sizeof(resbuf)));
    rb->restype = static_cast<short>(type);
    return rb;
}

int acutRelRb(resbuf* rb) {
    while (rb) {
        resbuf* next = rb->rbnext;
        switch (lmhost::resbufKind(rb->restype)) {
        case ResbufKind::Text:
            std::free(rb->resval.rstring);
            break;
        case ResbufKind::Binary:
            std::free(rb->resval.rbinary.buf);
            break;
        default:
            break;
        }
        std::free(rb);
        rb = next;
    }
    return RTNORM;
}

resbuf* acutBuildList(int type, ...) {
    va_list args;
    va_start(args, type);
    resbuf* head = nullptr;
    resbuf** tail = &head;
    while (type != 0 && type != RTNONE) {
        // RTDXF0 stands for group code 0, which would otherwise end the list.
        resbuf* rb = acutNewRb(type == RTDXF0 ? 0 : type);
        switch (lmhost::resbufKind(type == RTDXF0 ? 0 : type)) {
        case ResbufKind::Text:
            rb->resval.rstring = lmhost::duplicateText(va_arg(args, const ACHAR*));
            break;
        case ResbufKind::Point: {
            const ads_real* p = va_arg(args, const ads_real*);
            for (int i = 0; i < 3; ++i)
                rb->resval.rpoint[i] = p ? p[i] : 0.0;
            break;
        }
        case ResbufKind::Real:
            rb->resval.rreal = va_arg(args, double);
            break;
        case ResbufKind::Short:
            rb->resval.rint = static_cast<short>(va_arg(args, int));
            break;
        case ResbufKind::Long:
            rb->resval.rlong = va_arg(args, int32_t);
            break;
        case ResbufKind::Int64:
            rb->resval.mnInt64 = va_arg(args, int64_t);
            break;
        case ResbufKind::Name: {
            const int64_t* name = va_arg(args, const int64_t*);
            rb->resval.rlname[0] = name ? name[0] : 0;
            rb->resval.rlname[1] = name ? name[1] : 0;
            break;
        }
        case ResbufKind::Binary: {
            // As the host's binary chunk: a length and a pointer.
            int length = va_arg(args, int);
            const char* data = va_arg(args, const char*);
            rb->resval.rbinary.clen = static_cast<short>(length);
            if (data && length > 0) {
                rb->resval.rbinary.buf = static_cast<char*>(std::malloc(length));
                std::memcpy(rb->resval.rbinary.buf, data, length);
            }
            break;
        }
        case ResbufKind::None:
            break;
        }
        *tail = rb;
        tail = &rb->rbnext;
        type = va_arg(args, int);
    }
    va_end(args);
    return head;
}

int acutNewString(const ACHAR* text, ACHAR*& copy) {
    copy = lmhost::duplicateText(text ? text : L"");
    return RTNORM;
}

int acutDelString(ACHAR*& text) {
    std::free(text);
    text = nullptr;
    return RTNORM;
}
