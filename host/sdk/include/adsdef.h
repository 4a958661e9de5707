// The host's basic editor types: points, entity names and result buffers.
#pragma once

#include <cstdint>

#include "AdAChar.h"
#include "adscodes.h"

typedef double ads_real;
typedef ads_real ads_point[3];
typedef int64_t ads_name[2];
typedef ads_real ads_matrix[4][4];
typedef ads_real* ads_pointp;
typedef int64_t* ads_namep;

enum { X = 0, Y = 1, Z = 2 };

union ads_u_val {
    ads_real rreal;
    ads_real rpoint[3];
    short rint;
    ACHAR* rstring;
    int64_t rlname[2];
    int64_t mnLongPtr;
    int32_t rlong;
    int64_t mnInt64;
    struct ads_binary {
        short clen;
        char* buf;
    } rbinary;
    unsigned char ihandle[8];
};

// One link of a result-buffer chain: a group code and its value.
struct resbuf {
    struct resbuf* rbnext;
    short restype;
    union ads_u_val resval;
};
