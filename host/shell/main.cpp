// linkmesh: runs the plug-in in the substitute host, from a script or the terminal.
#include <clocale>
#include <strings.h>

#include <cstring>
#include <iostream>
#include <string>
#include <vector>

#include "Shell.h"
#include "Terminal.h"
#include "sdk/WideFormat.h"

int cellCommand(const std::vector<std::string>& args);
int updateCommand(const std::vector<std::string>& args);

namespace {

void usage() {
    std::cerr << "usage: linkmesh [--transcript FILE] [--quiet] [--no-load] [--plugin FILE] "
                 "[DRAWING.dxf] [SCRIPT]\n"
                 "       linkmesh --version\n"
                 "       linkmesh cell WORKBOOK SHEET CELL... [--value]\n"
                 "       linkmesh update [--dry-run] [--plugin FILE] DRAWING.dxf...\n"
                 "Without SCRIPT, commands are read from the terminal. HELP lists the host's "
                 "commands.\n";
}

bool isDrawingFile(const std::string& path) {
    return path.size() > 4 && strcasecmp(path.c_str() + path.size() - 4, ".dxf") == 0;
}

} // namespace

int main(int argc, char** argv) {
    std::setlocale(LC_ALL, "C.UTF-8");
    shell::terminal::endOpenLineBeforeErrors();
    std::vector<std::string> args(argv + 1, argv + argc);
    if (!args.empty() && args[0] == "cell")
        return cellCommand(std::vector<std::string>(args.begin() + 1, args.end()));
    if (!args.empty() && args[0] == "update")
        return updateCommand(std::vector<std::string>(args.begin() + 1, args.end()));

    std::string transcript, script, drawing;
    std::wstring plugin = shell::Session::pluginBesideProgram();
    bool load = true, quiet = false;
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string& a = args[i];
        if ((a == "--transcript" || a == "-o") && i + 1 < args.size()) {
            transcript = args[++i];
        } else if (a == "--plugin" && i + 1 < args.size()) {
            plugin = lmhost::widen(args[++i]);
        } else if (a == "--no-load") {
            load = false;
        } else if (a == "--quiet" || a == "-q") {
            quiet = true;
        } else if (a == "--version") {
            std::cout << "linkmesh " << LINKMESH_VERSION << "\n";
            return shell::kExitOk;
        } else if (a == "--help" || a == "-h") {
            usage();
            return shell::kExitOk;
        } else if (!a.empty() && a[0] != '-' && drawing.empty() && script.empty() &&
                   isDrawingFile(a)) {
            drawing = a;
        } else if (!a.empty() && a[0] != '-' && script.empty()) {
            script = a;
        } else {
            usage();
            return shell::kExitUsage;
        }
    }

    shell::Session session;
    session.setEcho(!quiet);
    if (!transcript.empty() && !session.setTranscriptFile(transcript)) {
        std::cerr << "linkmesh: cannot write the transcript " << transcript << "\n";
        return shell::kExitUsage;
    }
    if (int code = session.start(plugin, load, lmhost::widen(drawing)))
        return code;
    int code = script.empty() ? session.runInteractive() : session.runScript(script);
    session.finish();
    if (session.transcriptFailed() && code == shell::kExitOk)
        return shell::kExitTranscriptError;
    return code;
}
