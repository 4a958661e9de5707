// The host's shared library, made of its parts: the API surface (sdk) below, the models
// (drawing, spreadsheet) above it. The surface never calls up into a model; as the library
// loads, the drawing model is installed into it here.
#include "drawing/DrawingModel.h"

namespace {

const bool kDrawingModelInstalled = (lmhost::installDrawingModel(), true);

} // namespace
