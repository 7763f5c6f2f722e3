// Writes the result documents of a made-up fleet into a folder, for the
// browser tests and the benchmarks:
//   make_documents FOLDER COUNT [--slow] [--hostile] [--heat] [--seed N]
// --slow makes the last host 20 % slower than the others (flagged "slow"),
// --hostile names the first host and its processor with markup, --heat gives
// the second host a heat test. Prints nothing; exit 2 on a wrong command line.
#include "document_builder.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>

int main(int argc, char** argv)
{
    if (argc < 3) {
        std::fprintf(stderr, "usage: make_documents FOLDER COUNT [--slow] [--hostile] [--heat] [--seed N]\n");
        return 2;
    }
    const std::string folder = argv[1];
    const long count = std::strtol(argv[2], nullptr, 10);
    bool slow = false, hostile = false, heat = false;
    unsigned seed = 9;
    for (int k = 3; k < argc; ++k) {
        if (std::strcmp(argv[k], "--slow") == 0)
            slow = true;
        else if (std::strcmp(argv[k], "--hostile") == 0)
            hostile = true;
        else if (std::strcmp(argv[k], "--heat") == 0)
            heat = true;
        else if (std::strcmp(argv[k], "--seed") == 0 && k + 1 < argc)
            seed = static_cast<unsigned>(std::strtoul(argv[++k], nullptr, 10));
        else {
            std::fprintf(stderr, "make_documents: unexpected '%s'\n", argv[k]);
            return 2;
        }
    }
    if (count < 1 || count > 1000000) {
        std::fprintf(stderr, "make_documents: COUNT must be from 1 to 1000000\n");
        return 2;
    }
    std::mt19937 random(seed);
    for (long k = 0; k < count; ++k) {
        FleetDocumentKind kind;
        std::string host = "node-" + std::to_string(k + 1);
        if (hostile && k == 0) {
            host = "<script>alert(1)</script>";
            kind.brand = "\"><img src=x onerror=alert(2)>";
        }
        if (slow && k == count - 1)
            kind.rateFactor = 0.8;
        kind.heat = heat && k == 1;
        const ResultDocument d = FleetDocument(random, host, kind);
        const std::string file = folder + "/node-" + std::to_string(k + 1) + ".json";
        std::ofstream out(file, std::ios::binary);
        out << WriteResultDocument(d);
        if (!out) {
            std::fprintf(stderr, "make_documents: %s could not be written\n", file.c_str());
            return 1;
        }
    }
    return 0;
}
