// halvoren-cli: the package engine, stores and profile of the desktop program, for terminals.
// The commands arrive with the package engine; until then the tool explains itself and stops.

#include <cstdio>
#include <cstring>

namespace {
const char Usage[] =
    "Usage: halvoren-cli [--profile DIR] COMMAND ...\n"
    "\n"
    "Commands:\n"
    "  identity create NAME      make your own identity\n"
    "  identity show             show your own contact\n"
    "  identity export -o FILE   save your key file\n"
    "  contacts list|import|export|remove\n"
    "  encrypt -o OUT.kvx [-r NAME]... [--self] [--plain] [--flat] PATH...\n"
    "  decrypt PACKAGE.kvx -C DIR\n";
}

int main(int argc, char** argv)
{
    if (argc < 2 || std::strcmp(argv[1], "--help") == 0 || std::strcmp(argv[1], "-h") == 0) {
        std::fputs(Usage, argc < 2 ? stderr : stdout);
        return argc < 2 ? 2 : 0;
    }
    std::fprintf(stderr, "halvoren-cli: '%s' is not available in this build yet.\n", argv[1]);
    return 2;
}
