// The host's shared library is made of its parts (sdk, drawing, spreadsheet);
// this unit only gives the library a source of its own.
