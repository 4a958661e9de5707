#include "drawing/DrawingModel.h"

#include "aced.h"
#include "drawing/control/Editor.h"
#include "rxdict.h"
#include "sdk/control/Parts.h"

namespace lmhost {

void installDrawingModel() {
    setDefaultDrawingBuilder(buildDefaultDrawing);
    registerRuntimeClass(AcEditor::desc());
    registerRuntimeClass(AcEditorReactor::desc());
    acrxSysRegistry()->atPut(ACRX_T("AcEditor"), acedEditorObject());
    addResetStep(resetEditor);
}

} // namespace lmhost
