#include "links/RefreshFromWorkbooks.h"

// Workbook links are read by the Excel bridge, which is not part of the build yet.
void refreshFromWorkbooks() {}
