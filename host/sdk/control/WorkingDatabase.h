// The host's side of the working database.
#pragma once

class AcDbDatabase;

namespace lmhost {

// Drops the database the host made for itself (not one set by the document manager).
void resetWorkingDatabase();

} // namespace lmhost
