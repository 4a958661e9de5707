// The host's dialog helper library.
#pragma once

// Readies the host's dialog classes for a plug-in library; called once at library attach.
void InitAcUiDLL();
