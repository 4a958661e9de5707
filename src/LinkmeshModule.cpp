// The plug-in library is lm_plugin as a whole; its entry points are in frame/LmeshApp.cpp.
