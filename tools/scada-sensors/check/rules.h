#pragma once

namespace Kelvra::SCADA::Tool {

enum class Severity {
    ERROR,   ///< a definition, a sensor or an installation does not work; refuses an installation
    WARNING, ///< something is ignored, or a definition differs from its JSON schema
    NOTE,    ///< worth knowing, and not wrong
};

inline const char* wordOf(Severity severity) {
    if (severity == Severity::ERROR)
        return "error";
    return severity == Severity::WARNING ? "warning" : "note";
}

/// A rule of a check or of an installation. The identifiers are an interface: scripts rely on them.
struct Rule {
    const char* id;
    Severity severity;
    const char* remedy;
};

/// The table of rules. docs/errors.md explains each.
namespace Rules {

inline constexpr const char* SET_PERMISSIONS =
    "Correct the owner or the mode, or run the tool as a user who may read it.";
inline constexpr const char* CORRECT_SYNTAX = "Correct the file at this place.";

// The storages
inline constexpr Rule STORAGE_NOT_CONFIGURED = {"storage/not-configured", Severity::NOTE,
                                                "Give the directory with its option."};
inline constexpr Rule STORAGE_MISSING = {"storage/missing", Severity::NOTE,
                                         "Correct the path, or ignore this: an installation makes the custom storage."};
inline constexpr Rule STORAGE_UNREACHABLE = {"storage/unreachable", Severity::ERROR, SET_PERMISSIONS};
inline constexpr Rule STORAGE_NOT_A_DIRECTORY = {"storage/not-a-directory", Severity::ERROR,
                                                 "Correct the path, or move the file out of the way."};
inline constexpr Rule STORAGE_HIDES_DEFAULT = {"storage/hides-default", Severity::NOTE,
                                               "Remove the custom definition to use the default one."};
inline constexpr Rule STORAGE_DEFAULT_CHANGED = {
    "storage/default-changed", Severity::NOTE,
    R"(See "scada-sensors diff NAME"; adapt the custom definition and install it again, or remove it.)"};
inline constexpr Rule STORAGE_DEFAULT_GONE = {
    "storage/default-gone", Severity::NOTE, "Install the custom definition again if it is still right, or remove it."};
inline constexpr Rule STORAGE_DEFAULT_NEW = {
    "storage/default-new", Severity::NOTE,
    R"(See "scada-sensors diff NAME"; adapt the custom definition and install it again, or remove it.)"};
inline constexpr Rule STORAGE_INTERRUPTED = {
    "storage/interrupted", Severity::ERROR,
    R"(Run "scada-sensors recover", or "scada-sensors recover --forward" to complete the operation.)"};
inline constexpr Rule STORAGE_UNFINISHED = {"storage/unfinished", Severity::NOTE, "Run: scada-sensors recover"};
inline constexpr Rule STORAGE_IN_PLACE = {
    "storage/in-place", Severity::NOTE,
    "Nothing to do; or put the custom storage below the root of its mount, on a file system such as ext4."};

// Files that are not listed
inline constexpr Rule TREE_DIRECTORY_UNREADABLE = {"tree/directory-unreadable", Severity::ERROR, SET_PERMISSIONS};
inline constexpr Rule TREE_ENTRY_UNREADABLE = {"tree/entry-unreadable", Severity::ERROR, SET_PERMISSIONS};
inline constexpr Rule TREE_BEHIND_LINK = {"tree/behind-link", Severity::WARNING,
                                          "Replace the link by the file or directory itself."};
inline constexpr Rule TREE_WRONG_LEVEL = {"tree/wrong-level", Severity::WARNING,
                                          "Move the file to FAMILY/MAKER/MODEL.json."};
inline constexpr Rule TREE_WRONG_SUFFIX = {"tree/wrong-suffix", Severity::WARNING, "Rename or remove the file."};
inline constexpr Rule TREE_NOT_A_FILE = {"tree/not-a-file", Severity::WARNING,
                                         "Put a regular file in its place, or remove it."};

// One definition
inline constexpr Rule DEFINITION_UNREADABLE = {"definition/unreadable", Severity::ERROR, SET_PERMISSIONS};
inline constexpr Rule DEFINITION_SYNTAX = {"definition/syntax", Severity::ERROR, CORRECT_SYNTAX};
inline constexpr Rule DEFINITION_TOO_DEEP = {"definition/too-deep", Severity::ERROR,
                                             "Nest the document less deeply, or remove the file."};
inline constexpr Rule DEFINITION_NOT_AN_OBJECT = {"definition/not-an-object", Severity::ERROR,
                                                  R"(Make the document a JSON object with a member "properties".)"};
inline constexpr Rule DEFINITION_BAD_DECODER_PATH = {
    "definition/bad-decoder-path", Severity::ERROR,
    R"(Put the decoder next to the definition or below, without "../".)"};
inline constexpr Rule DEFINITION_DECODER_MISSING = {"definition/decoder-missing", Severity::ERROR,
                                                    R"(Add the decoder file, or correct its name in "decoder".)"};
inline constexpr Rule DEFINITION_NO_PROPERTIES = {"definition/no-properties", Severity::ERROR,
                                                  R"(Add an object "properties" to the definition.)"};
inline constexpr Rule DEFINITION_PROPERTY_NOT_AN_OBJECT = {
    "definition/property-not-an-object", Severity::WARNING,
    "Describe the property with an object; queries ignore it otherwise."};

// The schema of definitions
inline constexpr const char* CORRECT_MEMBER = "Correct the member as the manual page scada-sensors-definition(5) says.";
inline constexpr Rule SCHEMA_TYPE = {"schema/type", Severity::WARNING, CORRECT_MEMBER};
inline constexpr Rule SCHEMA_ENUM = {"schema/enum", Severity::WARNING, "Give the member one of the values."};
inline constexpr Rule SCHEMA_REQUIRED = {"schema/required", Severity::WARNING, "Add the member."};
inline constexpr Rule SCHEMA_RANGE = {"schema/range", Severity::WARNING, "Give the member a value within its range."};
inline constexpr Rule SCHEMA_PATTERN = {"schema/pattern", Severity::WARNING, CORRECT_MEMBER};
inline constexpr Rule SCHEMA_FORM = {"schema/form", Severity::WARNING, CORRECT_MEMBER};

// The managed-sensors list
inline constexpr Rule LIST_UNREADABLE = {"list/unreadable", Severity::ERROR,
                                         "Provide the list, or correct the path or its mode."};
inline constexpr Rule LIST_SYNTAX = {"list/syntax", Severity::ERROR, CORRECT_SYNTAX};
inline constexpr Rule LIST_TOO_DEEP = {"list/too-deep", Severity::ERROR, "Nest the document less deeply."};
inline constexpr Rule LIST_NOT_AN_ARRAY = {"list/not-an-array", Severity::ERROR, "Put the elements into a JSON array."};
inline constexpr Rule LIST_ELEMENT_NOT_AN_OBJECT = {"list/element-not-an-object", Severity::ERROR,
                                                    R"(Make the element an object with "id", "src" and "sensor".)"};
inline constexpr Rule LIST_BAD_IDENTIFIER = {"list/bad-identifier", Severity::ERROR,
                                             R"(Give "id" a text without "@" that is not blank.)"};
inline constexpr Rule LIST_BAD_SOURCE = {"list/bad-source", Severity::ERROR,
                                         R"(Give "src" a text without "@" that is not blank.)"};
inline constexpr Rule LIST_BAD_DEFINITION_NAME = {"list/bad-definition-name", Severity::ERROR,
                                                  R"(Give "sensor" the name of a definition, as in "maker/model".)"};
inline constexpr Rule LIST_DUPLICATE = {"list/duplicate", Severity::ERROR, "Remove one of the two elements."};
inline constexpr Rule LIST_DEFINITION_MISSING = {
    "list/definition-missing", Severity::ERROR,
    R"(Install the definition, or correct "sensor"; "scada-sensors list" shows )"
    "what there is."};
inline constexpr Rule LIST_DEFINITION_BROKEN = {"list/definition-broken", Severity::ERROR,
                                                "Correct the definition, or remove it if it hides a good default one."};
inline constexpr Rule LIST_NO_DECODER = {"list/no-decoder", Severity::ERROR, "Add a decoder to the definition."};

// Decoders and their examples
inline constexpr const char* CORRECT_DECODER = "Correct the decoder or the example; --no-codec leaves decoders out.";
inline constexpr Rule CODEC_NO_RUNNER = {
    "codec/no-runner", Severity::NOTE,
    "Install the package scada-sensors-codec, or name a runner with --codec-runner."};
inline constexpr Rule CODEC_RUNNER_FAULT = {
    "codec/runner-fault", Severity::ERROR,
    "Give another runner with --codec-runner, or leave decoders out with --no-codec."};
inline constexpr Rule CODEC_DOES_NOT_LOAD = {"codec/does-not-load", Severity::ERROR,
                                             "Correct the decoder at this place; --no-codec leaves decoders out."};
inline constexpr Rule CODEC_NEEDS_NEWER = {
    "codec/needs-newer", Severity::NOTE,
    "Check the decoder with a runner that knows newer JavaScript, given with --codec-runner."};
inline constexpr Rule CODEC_NO_ENTRY_POINT = {"codec/no-entry-point", Severity::ERROR,
                                              "Add a function decodeUplink(input) to the decoder."};
inline constexpr Rule CODEC_NOT_OFFERED = {"codec/not-offered", Severity::ERROR,
                                           "Do without it: decoders have nothing but the language."};
inline constexpr Rule CODEC_BAD_EXAMPLE = {"codec/bad-example", Severity::ERROR,
                                           "Correct the example at this place; --no-codec leaves examples out."};
inline constexpr Rule CODEC_BAD_RESULT = {"codec/bad-result", Severity::ERROR,
                                          R"(Let the decoder return an object with "data" or "errors".)"};
inline constexpr Rule CODEC_EXAMPLE_DIFFERS = {"codec/example-differs", Severity::ERROR, CORRECT_DECODER};
inline constexpr Rule CODEC_THREW = {"codec/threw", Severity::ERROR, CORRECT_DECODER};
inline constexpr Rule CODEC_SHOULD_THROW = {"codec/should-throw", Severity::ERROR, CORRECT_DECODER};
inline constexpr Rule CODEC_OVER_LIMIT = {
    "codec/over-limit", Severity::ERROR,
    "Correct the decoder, or raise the limit with --codec-time or --codec-memory."};
inline constexpr Rule CODEC_VALUE_TYPE = {"codec/value-type", Severity::ERROR,
                                          "Correct the decoder, or the type of the property."};
inline constexpr Rule CODEC_VALUE_SPECIAL = {"codec/value-special", Severity::ERROR,
                                             "Let the decoder leave the value out, or make it null."};
inline constexpr Rule CODEC_OUT_OF_RANGE = {"codec/out-of-range", Severity::NOTE,
                                            "Correct the decoder, or the range of the property."};
inline constexpr Rule CODEC_UNDECLARED = {"codec/undeclared", Severity::NOTE,
                                          "Describe the value in \"properties\", or leave it out."};
inline constexpr Rule CODEC_NEVER_SEEN = {"codec/never-seen", Severity::NOTE, "Add an example that has it."};

// The source of an installation
inline constexpr Rule SOURCE_MISSING = {"source/missing", Severity::ERROR, "Correct the path of the source."};
inline constexpr Rule SOURCE_NOT_A_DIRECTORY = {"source/not-a-directory", Severity::ERROR,
                                                R"(Give the directory that contains "lora", or an archive of it.)"};
inline constexpr Rule SOURCE_UNREADABLE = {"source/unreadable", Severity::ERROR, SET_PERMISSIONS};
inline constexpr Rule SOURCE_TOO_LARGE = {
    "source/too-large", Severity::ERROR,
    "Make it smaller, or raise the limit with --max-definition, --max-decoder or --max-source."};
inline constexpr Rule SOURCE_TOO_MANY = {"source/too-many", Severity::ERROR,
                                         "Install less at a time, or raise the limit with --max-definitions."};
inline constexpr Rule SOURCE_TOO_MANY_FINDINGS = {"source/too-many-findings", Severity::ERROR,
                                                  "Correct what is listed, then check again."};
inline constexpr Rule SOURCE_BAD_ARCHIVE = {"source/bad-archive", Severity::ERROR,
                                            "Make it again as tar, tar with gzip, or zip, without a password."};
inline constexpr Rule SOURCE_WRONG_LEVEL = {"source/wrong-level", Severity::ERROR,
                                            R"(Give the directory that contains "lora".)"};
inline constexpr Rule SOURCE_NOT_LORAWAN = {"source/not-lorawan", Severity::ERROR,
                                            R"(Move the definition below "lora", or remove it from the source.)"};
inline constexpr Rule SOURCE_NO_DECODER = {"source/no-decoder", Severity::ERROR,
                                           R"(Add the decoder file and name it in "decoder".)"};
inline constexpr Rule SOURCE_DECODER_OUTSIDE = {"source/decoder-outside", Severity::ERROR,
                                                "Put the decoder file itself into the source."};
inline constexpr Rule SOURCE_DECODER_UNREADABLE = {"source/decoder-unreadable", Severity::ERROR, SET_PERMISSIONS};
inline constexpr Rule SOURCE_BAD_NAME = {
    "source/bad-name", Severity::ERROR,
    "Rename the definition: UTF-8, no backslash, no blank in front, and short enough to append -decoder."};

inline constexpr Rule SOURCE_NO_LIST = {"source/no-list", Severity::ERROR,
                                        "Give what \"scada-sensors export\" has written, or leave --with-list out."};
inline constexpr Rule SOURCE_LIST_LEFT = {"source/list-left", Severity::NOTE,
                                          "Install with --with-list to replace the list of the device by it."};

inline constexpr Rule SOURCE_NOT_UTF8 = {"source/not-utf8", Severity::ERROR, "Save the definition as UTF-8."};

// The device that an installation changes
inline constexpr Rule INSTALL_UNSAFE_DIRECTORY = {"install/unsafe-directory", Severity::ERROR,
                                                  "Give another directory with its option."};
inline constexpr Rule INSTALL_NO_SPACE = {"install/no-space", Severity::ERROR,
                                          "Free some space, or install less at a time."};
inline constexpr Rule INSTALL_STAGING_UNWRITABLE = {
    "install/staging-unwritable", Severity::ERROR,
    "Correct the owner or the mode, remove what is in the way, or give another "
    "directory with --staging-dir."};
inline constexpr Rule INSTALL_UNTRUSTED_DIRECTORY = {
    "install/untrusted-directory", Severity::ERROR,
    "Take the right to write from all others, and give it to root or to the user who installs."};
inline constexpr Rule INSTALL_CANNOT_COPY = {
    "install/cannot-copy", Severity::ERROR,
    "Correct the owner or the mode of the entry, or move it out of the storage."};
inline constexpr Rule INSTALL_DIRECTORY_BLOCKED = {
    "install/directory-blocked", Severity::ERROR,
    "Remove what is in the way, or correct the owner or the mode of the directory."};
inline constexpr Rule INSTALL_BEHIND_LINK = {
    "install/behind-link", Severity::ERROR,
    "Replace the link in the custom storage by a directory or a file, or remove it."};
inline constexpr Rule INSTALL_FILE_BLOCKED = {
    "install/file-blocked", Severity::ERROR,
    "Remove what is in the way, or correct the owner or the mode of the file."};
inline constexpr Rule INSTALL_DECODER_BLOCKED = {
    "install/decoder-blocked", Severity::ERROR,
    "Remove what is in the way, or correct the owner or the mode of the file."};
inline constexpr Rule INSTALL_LIST_BLOCKED = {
    "install/list-blocked", Severity::ERROR,
    "Correct the owner or the mode, or give the path of a list that can be replaced with --map."};
inline constexpr Rule INSTALL_ALREADY_INSTALLED = {
    "install/already-installed", Severity::ERROR,
    "Install with --allow-overwrite, or remove the custom definition first."};

inline constexpr Rule INSTALL_REPLACES_BROKEN = {"install/replaces-broken", Severity::NOTE,
                                                 "Nothing to do: the installation replaces it."};

} // namespace Rules

} // namespace Kelvra::SCADA::Tool
