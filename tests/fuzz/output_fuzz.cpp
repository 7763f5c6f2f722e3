// Any path an output may be given, within a folder of links, FIFOs and
// files: the output routine either refuses it with a message, never
// waiting, or writes exactly what it was given where the path leads; an
// output not finished leaves nothing changed; no temporary file outlives
// its writer; and the file it must keep is never touched.
//
// The input's first bytes pick path components from a fixed set (so that
// no path can lead out of the scratch folder: the target runs as whoever
// runs the tests, root included), the rest is what is written.
#include "files/output_file.h"
#include "files/path_text.h"
#include "fuzz_support.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

namespace {
namespace fs = std::filesystem;

// Inside "s": a file kept from every output, plain files, a FIFO nobody
// reads, a folder, links to each, a loop, a dangling link, a link out of
// a folder back into "s", and a link to the null device.
void MakeSandbox()
{
    fs::create_directories("s/dir");
    std::ofstream("s/kept") << "kept\n";
    std::ofstream("s/file") << "file\n";
    std::ofstream("s/dir/inner") << "inner\n";
    ::mkfifo("s/fifo", 0600);
    ::mkfifo("s/dir/fifo", 0600);
    fs::create_symlink("file", "s/to-file");
    fs::create_symlink("dir", "s/to-dir");
    fs::create_symlink("kept", "s/to-kept");
    fs::create_symlink("fifo", "s/to-fifo");
    fs::create_symlink("loop", "s/loop");
    fs::create_symlink("missing/x", "s/dangling");
    fs::create_symlink("..", "s/dir/up");
    fs::create_symlink("/dev/null", "s/null");
}

const std::vector<std::string> Components = {"file", "kept", "fifo", "dir", "inner", "to-file", "to-dir",
                                             "to-kept", "to-fifo", "loop", "dangling", "up", "null", "new",
                                             "other", ".", "", "x\xff", "a b"};

// A temporary file left anywhere in the sandbox.
bool TemporaryLeft()
{
    for (const auto& entry : fs::recursive_directory_iterator("s")) {
        const std::string name = entry.path().filename().string();
        if (name.size() > 4 && name[0] == '.' && name.compare(name.size() - 4, 4, ".tmp") == 0)
            return true;
    }
    return false;
}

// What `path` leads to now, as bytes: "" when there is no regular file.
std::string Contents(const std::string& path)
{
    std::string resolved, refused;
    struct stat info {};
    if (ResolvePath(path, resolved, refused) != 0 || ::stat(resolved.c_str(), &info) != 0 || !S_ISREG(info.st_mode))
        return {};
    return ReadFuzzFile(resolved.c_str());
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size)
{
    EnterFuzzProgramDirectory();
    static const bool made = (MakeSandbox(), true);
    (void)made;
    if (size < 2)
        return 0;
    // Byte 0: the number of components (1 to 4) and whether to finish;
    // then one byte a component; the rest is the output's contents.
    const std::size_t count = 1 + (data[0] & 3);
    const bool finish = (data[0] & 4) == 0;
    if (size < 1 + count)
        return 0;
    std::string path = "s";
    for (std::size_t k = 0; k < count; ++k)
        path += "/" + Components[data[1 + k] % Components.size()];
    const std::string contents(reinterpret_cast<const char*>(data + 1 + count), size - 1 - count);

    const std::vector<KeptFile> kept = {{wxS("the kept file"), IdentifyFile(wxS("s/kept"))}};
    const std::string before = Contents(path);
    {
        OutputFile output;
        const OutputFailure failure = output.Open(PathFromBytes(path), kept);
        if (failure) {
            const std::string text = failure.Text().utf8_string();
            FUZZ_CHECK(!text.empty() && text.find(" could not be written") != std::string::npos);
        } else {
            FUZZ_CHECK(!IdentifyFile(PathFromBytes(path)).Same(kept[0].identity));
            FUZZ_CHECK(output.Write(contents) == 0);
            if (finish) {
                FUZZ_CHECK(output.Finish() == 0);
                if (output.Replacing())
                    FUZZ_CHECK(Contents(path) == contents);
            } else if (output.Replacing()) {
                FUZZ_CHECK(Contents(path) == before);
            }
        }
    }
    FUZZ_CHECK(!TemporaryLeft());
    FUZZ_CHECK(ReadFuzzFile("s/kept") == "kept\n");
    FUZZ_CHECK(fs::is_fifo("s/fifo"));
    return 0;
}
