// The host's editor functions: system variables.
#pragma once

#include <cstddef>

#include "adsdef.h"
#include "rxobject.h"

// Reads a system variable into result; text results are owned by the caller (acutRelRb of a
// copy, or free of rstring with acutDelString).
int acedGetVar(const ACHAR* name, struct resbuf* result);
// Sets a system variable; RTERROR for an unknown name, a read-only variable, a value of the
// wrong type or out of the variable's range.
int acedSetVar(const ACHAR* name, const struct resbuf* value);

// ---------------------------------------------------------------------------------------
// Entities and selection sets. Entity and selection-set names are two integers (ads_name).

// Toggles the erasure of an entity: erases it, or brings an erased one back. RTNORM, or
// RTERROR for a name that is no entity.
int acdbEntDel(const ads_name ent);
// The entity name of a handle given as hexadecimal text; RTERROR for an unknown or erased
// handle, or text that is no handle.
int acdbHandEnt(const ACHAR* handle, ads_name entres);

// Selects entities into a new selection set. Mode "X" (also "_X") takes every entity of
// every space of the working database, in the order they were added, that passes the
// filter: a chain of entries with group 0 (entity type, such as "INSERT" or "ACAD_TABLE";
// several separated by commas, case ignored) or 2 (block name of an insert). Other modes
// and codes: RTERROR. No entity passing: RTERROR and no set.
// Interactive selections ask the user (from the host's queue of input) for one pick and need
// the single option: "_:S", with ":n" for a nested pick (the picked entity inside its block
// references is the member) and ":$" for prompts supplied (pt1 is an array of two prompts;
// the first is shown). RTCAN for a cancel, RTERROR for a pick of nothing or of what the
// filter refuses, and for options the host does not ask.
int acedSSGet(const ACHAR* str, const void* pt1, const void* pt2, const struct resbuf* filter,
              ads_name ss);
// The description of how member i was selected, a chain the caller frees with acutRelRb.
// Picked: RTSHORT 1 (the method), RTENAME of the entity, RTSHORT 0 (its marker), RTLB RTSHORT
// 0 RT3DPOINT (the picked point) RTLE, then one RTENAME per block reference that holds the
// entity, innermost first (a nested pick). Otherwise RTSHORT 0 and RTENAME.
int acedSSNameX(struct resbuf** rbpp, const ads_name ss, const int i, unsigned int flags = 0);
int acedSSFree(const ads_name sname);
int acedSSLength(const ads_name sname, Adesk::Int32* len);
// The entity at an index; RTERROR out of range or for a freed set.
int acedSSName(const ads_name ss, Adesk::Int32 i, ads_name entres);
// With no set: a new set, holding the entity if one is given. With a set: the entity is
// added (once) and result names the same set.
int acedSSAdd(const ads_name ename, const ads_name sname, ads_name result);
int acedSSDel(const ads_name ename, const ads_name ss);
// Applies a transformation to every entity of a set.
int acedXformSS(const ads_name ssname, ads_matrix genmat);
// Drags a selection set: the host asks for a point (from its input), calls the callback
// with it, and gives the point. RTNORM with the point, RTCAN when the user cancels.
int acedDragGen(const ads_name ss, const ACHAR* pmt, int cursor,
                int (*scnf)(ads_point pt, ads_matrix mt), ads_point p);

// ---------------------------------------------------------------------------------------
// User input, answered from the host's queue of input. A cancel, or no input at all,
// gives RTCAN (the host then notes that the prompt went unanswered).

int acedInitGet(int val, const ACHAR* kwl);
// RTNORM with a point (in the UCS), RTKWORD for a keyword, RTCAN.
int acedGetPoint(const ads_point pt, const ACHAR* prompt, ads_point result);
// RTNORM with an entity and the picked point, RTERROR for a pick of no entity, RTKWORD,
// RTCAN.
int acedEntSel(const ACHAR* str, ads_name entres, ads_point ptres);
// RTNORM with a keyword (of the acedInitGet list when one was given), RTCAN.
int acedGetKword(const ACHAR* prompt, ACHAR* result, size_t bufsize);
template <size_t N> inline int acedGetKword(const ACHAR* prompt, ACHAR (&result)[N]) {
    return acedGetKword(prompt, result, N);
}
// The text of the last keyword answered.
int acedGetInput(ACHAR* str, size_t bufsize);
template <size_t N> inline int acedGetInput(ACHAR (&str)[N]) {
    return acedGetInput(str, N);
}

// Regenerates the drawing; the host counts it.
int acedRegen();
#define ads_regen acedRegen
int acedRedraw(const ads_name ent, int mode);
