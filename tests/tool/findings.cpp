#include "findings.h"

#include <sstream>

namespace Kelvra::SCADA::Test {

namespace {

struct Remedy {
    const char* rule;
    const char* text;
};

constexpr Remedy REMEDIES[] = {
    {"storage/not-configured", "Give the directory with its option."},
    {"storage/missing", "Correct the path, or ignore this: an installation makes the custom storage."},
    {"storage/unreachable", "Correct the owner or the mode, or run the tool as a user who may read it."},
    {"storage/not-a-directory", "Correct the path, or move the file out of the way."},
    {"storage/hides-default", "Remove the custom definition to use the default one."},
    {"storage/default-changed",
     "See \"scada-sensors diff NAME\"; adapt the custom definition and install it again, or remove it."},
    {"storage/default-gone", "Install the custom definition again if it is still right, or remove it."},
    {"storage/default-new",
     "See \"scada-sensors diff NAME\"; adapt the custom definition and install it again, or remove it."},
    {"storage/interrupted",
     R"(Run "scada-sensors recover", or "scada-sensors recover --forward" to complete the operation.)"},
    {"storage/unfinished", "Run: scada-sensors recover"},
    {"storage/in-place",
     "Nothing to do; or put the custom storage below the root of its mount, on a file system such as ext4."},
    {"tree/directory-unreadable", "Correct the owner or the mode, or run the tool as a user who may read it."},
    {"tree/entry-unreadable", "Correct the owner or the mode, or run the tool as a user who may read it."},
    {"tree/behind-link", "Replace the link by the file or directory itself."},
    {"tree/wrong-level", "Move the file to FAMILY/MAKER/MODEL.json."},
    {"tree/wrong-suffix", "Rename or remove the file."},
    {"tree/not-a-file", "Put a regular file in its place, or remove it."},
    {"definition/unreadable", "Correct the owner or the mode, or run the tool as a user who may read it."},
    {"definition/syntax", "Correct the file at this place."},
    {"definition/too-deep", "Nest the document less deeply, or remove the file."},
    {"definition/not-an-object", "Make the document a JSON object with a member \"properties\"."},
    {"definition/bad-decoder-path", "Put the decoder next to the definition or below, without \"../\"."},
    {"definition/decoder-missing", "Add the decoder file, or correct its name in \"decoder\"."},
    {"definition/no-properties", "Add an object \"properties\" to the definition."},
    {"definition/property-not-an-object", "Describe the property with an object; queries ignore it otherwise."},
    {"schema/type", "Correct the member as the manual page scada-sensors-definition(5) says."},
    {"schema/enum", "Give the member one of the values."},
    {"schema/required", "Add the member."},
    {"schema/range", "Give the member a value within its range."},
    {"schema/pattern", "Correct the member as the manual page scada-sensors-definition(5) says."},
    {"schema/form", "Correct the member as the manual page scada-sensors-definition(5) says."},
    {"list/unreadable", "Provide the list, or correct the path or its mode."},
    {"list/syntax", "Correct the file at this place."},
    {"list/too-deep", "Nest the document less deeply."},
    {"list/not-an-array", "Put the elements into a JSON array."},
    {"list/element-not-an-object", R"(Make the element an object with "id", "src" and "sensor".)"},
    {"list/bad-identifier", R"(Give "id" a text without "@" that is not blank.)"},
    {"list/bad-source", R"(Give "src" a text without "@" that is not blank.)"},
    {"list/bad-definition-name", R"(Give "sensor" the name of a definition, as in "maker/model".)"},
    {"list/duplicate", "Remove one of the two elements."},
    {"list/definition-missing",
     R"(Install the definition, or correct "sensor"; "scada-sensors list" shows what there is.)"},
    {"list/definition-broken", "Correct the definition, or remove it if it hides a good default one."},
    {"list/no-decoder", "Add a decoder to the definition."},
    {"codec/no-runner", "Install the package scada-sensors-codec, or name a runner with --codec-runner."},
    {"codec/runner-fault", "Give another runner with --codec-runner, or leave decoders out with --no-codec."},
    {"codec/does-not-load", "Correct the decoder at this place; --no-codec leaves decoders out."},
    {"codec/needs-newer", "Check the decoder with a runner that knows newer JavaScript, given with --codec-runner."},
    {"codec/no-entry-point", "Add a function decodeUplink(input) to the decoder."},
    {"codec/not-offered", "Do without it: decoders have nothing but the language."},
    {"codec/bad-example", "Correct the example at this place; --no-codec leaves examples out."},
    {"codec/bad-result", R"(Let the decoder return an object with "data" or "errors".)"},
    {"codec/example-differs", "Correct the decoder or the example; --no-codec leaves decoders out."},
    {"codec/threw", "Correct the decoder or the example; --no-codec leaves decoders out."},
    {"codec/should-throw", "Correct the decoder or the example; --no-codec leaves decoders out."},
    {"codec/over-limit", "Correct the decoder, or raise the limit with --codec-time or --codec-memory."},
    {"codec/value-type", "Correct the decoder, or the type of the property."},
    {"codec/value-special", "Let the decoder leave the value out, or make it null."},
    {"codec/out-of-range", "Correct the decoder, or the range of the property."},
    {"codec/undeclared", "Describe the value in \"properties\", or leave it out."},
    {"codec/never-seen", "Add an example that has it."},
    {"source/missing", "Correct the path of the source."},
    {"source/not-a-directory", "Give the directory that contains \"lora\", or an archive of it."},
    {"source/too-many-findings", "Correct what is listed, then check again."},
    {"source/bad-archive", "Make it again as tar, tar with gzip, or zip, without a password."},
    {"source/unreadable", "Correct the owner or the mode, or run the tool as a user who may read it."},
    {"source/too-large", "Make it smaller, or raise the limit with --max-definition, --max-decoder or --max-source."},
    {"source/too-many", "Install less at a time, or raise the limit with --max-definitions."},
    {"source/wrong-level", "Give the directory that contains \"lora\"."},
    {"source/not-lorawan", "Move the definition below \"lora\", or remove it from the source."},
    {"source/no-decoder", "Add the decoder file and name it in \"decoder\"."},
    {"source/decoder-outside", "Put the decoder file itself into the source."},
    {"source/decoder-unreadable", "Correct the owner or the mode, or run the tool as a user who may read it."},
    {"source/bad-name",
     "Rename the definition: UTF-8, no backslash, no blank in front, and short enough to append -decoder."},
    {"source/no-list", "Give what \"scada-sensors export\" has written, or leave --with-list out."},
    {"source/list-left", "Install with --with-list to replace the list of the device by it."},
    {"source/not-utf8", "Save the definition as UTF-8."},
    {"install/unsafe-directory", "Give another directory with its option."},
    {"install/no-space", "Free some space, or install less at a time."},
    {"install/staging-unwritable",
     "Correct the owner or the mode, remove what is in the way, or give another directory with --staging-dir."},
    {"install/untrusted-directory",
     "Take the right to write from all others, and give it to root or to the user who installs."},
    {"install/cannot-copy", "Correct the owner or the mode of the entry, or move it out of the storage."},
    {"install/directory-blocked", "Remove what is in the way, or correct the owner or the mode of the directory."},
    {"install/behind-link", "Replace the link in the custom storage by a directory or a file, or remove it."},
    {"install/file-blocked", "Remove what is in the way, or correct the owner or the mode of the file."},
    {"install/decoder-blocked", "Remove what is in the way, or correct the owner or the mode of the file."},
    {"install/list-blocked",
     "Correct the owner or the mode, or give the path of a list that can be replaced with --map."},
    {"install/already-installed", "Install with --allow-overwrite, or remove the custom definition first."},
    {"install/replaces-broken", "Nothing to do: the installation replaces it."},
};

} // namespace

std::string remedyOf(const std::string& rule) {
    for (const Remedy& remedy : REMEDIES) {
        if (rule == remedy.rule)
            return remedy.text;
    }
    return "";
}

std::string withRemedies(const std::string& text) {
    std::string result;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        result += line + (lines.eof() ? "" : "\n");
        const std::size_t start = line.rfind('[') + 1;
        const std::string remedy =
            start == 0 || line.back() != ']' ? "" : remedyOf(line.substr(start, line.size() - start - 1));
        if (!remedy.empty())
            result += "    " + remedy + "\n";
    }
    return result;
}

} // namespace Kelvra::SCADA::Test
