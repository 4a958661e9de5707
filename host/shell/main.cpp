// linkmesh: runs the plug-in in the substitute host, from a script or the terminal.
#include <clocale>
#include <cstring>
#include <iostream>
#include <string>
#include <vector>

#include "Shell.h"
#include "Terminal.h"
#include "sdk/WideFormat.h"

int cellCommand(const std::vector<std::string>& args);

namespace {

void usage() {
    std::cerr << "usage: linkmesh [--transcript FILE] [--quiet] [--no-load] [--plugin FILE] "
                 "[SCRIPT]\n"
                 "       linkmesh --version\n"
                 "       linkmesh cell WORKBOOK SHEET CELL... [--value]\n"
                 "Without SCRIPT, commands are read from the terminal. HELP lists the host's "
                 "commands.\n";
}

} // namespace

int main(int argc, char** argv) {
    std::setlocale(LC_ALL, "C.UTF-8");
    shell::terminal::endOpenLineBeforeErrors();
    std::vector<std::string> args(argv + 1, argv + argc);
    if (!args.empty() && args[0] == "cell")
        return cellCommand(std::vector<std::string>(args.begin() + 1, args.end()));

    std::string transcript, script;
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
    if (!session.start(plugin, load))
        return shell::kExitLoadError;
    int code = script.empty() ? session.runInteractive() : session.runScript(script);
    session.finish();
    if (session.transcriptFailed() && code == shell::kExitOk)
        return shell::kExitTranscriptError;
    return code;
}
