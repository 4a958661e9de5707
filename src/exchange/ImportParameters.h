// Lmesh_ImportParameters: a selection of the running Excel is applied to the parameters of
// the current space, row by row, creating missing ones when asked. Links are not touched.
#pragma once

// The command handler of _Lmesh_ImportParameters.
void importFromExcel();
