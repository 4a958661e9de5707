// How the host's models (host/drawing, host/spreadsheet), which sit above its API surface,
// plug into it when the host library loads. The surface never calls up into a model: what
// it needs from one, the model hands it here.
#pragma once

#include "dbmain.h"

namespace lmhost {

// Fills a new database with what every drawing has (the AcDbDatabase constructor asks for a
// default drawing); without one the database holds its registered applications only.
using DrawingBuilder = void (*)(AcDbDatabase* database);
void setDefaultDrawingBuilder(DrawingBuilder build);

// A runtime class of a model that acrxFindAcRxClass finds by its name.
void registerRuntimeClass(AcRxClass* cls);

// A step resetHost takes after its own, in the order added; a step added twice runs once.
void addResetStep(void (*step)());

} // namespace lmhost
