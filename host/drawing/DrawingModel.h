// The drawing model as a part of the host library. It sits above the API surface
// (host/sdk) and hands the surface what it needs of the model when the library loads.
#pragma once

class AcDbDatabase;

namespace lmhost {

// Fills a new database with what every drawing has: block table with model and paper
// space, text styles, the standard table style, the current viewport.
void buildDefaultDrawing(AcDbDatabase* database);

// Registers with the API surface: the default drawing of new databases, the editor's
// runtime classes and its entry in the system registry, and the editor's part of resetHost.
void installDrawingModel();

} // namespace lmhost
