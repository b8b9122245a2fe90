#include "FakeSupport.h"

#include <kelvra/Logger.h>
#include <kelvra/System.h>
#include <scada/Env.h>

#include <dlfcn.h>
#include <sys/stat.h>

#include <array>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <utility>

namespace Kelvra::SCADA::Test {

namespace {

namespace PrintLevel = Logger::PrintLevel;

constexpr const char* CMD_SYMBOL = "_ZN6Kelvra6System3cmdERKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEERS6_";
constexpr const char* EXECUTE_SYMBOL =
    "_ZN6Kelvra6System7executeERKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEERKSt6vectorIS6_SaIS6_EERS6_";

struct LevelObjects {
    std::array<int, 4> levels;
    std::array<const char*, 4> labels;
};

LevelObjects currentLevelObjects() {
    return {{PrintLevel::ERROR_LEVEL, PrintLevel::WARNING_LEVEL, PrintLevel::DEBUG_LEVEL, PrintLevel::TRACE_LEVEL},
            {PrintLevel::ERROR_LABEL, PrintLevel::WARNING_LABEL, PrintLevel::DEBUG_LABEL, PrintLevel::TRACE_LABEL}};
}

void restoreLevelObjects() {
    static const LevelObjects first = currentLevelObjects();
    PrintLevel::ERROR_LEVEL = first.levels[0];
    PrintLevel::WARNING_LEVEL = first.levels[1];
    PrintLevel::DEBUG_LEVEL = first.levels[2];
    PrintLevel::TRACE_LEVEL = first.levels[3];
    PrintLevel::ERROR_LABEL = first.labels[0];
    PrintLevel::WARNING_LABEL = first.labels[1];
    PrintLevel::DEBUG_LABEL = first.labels[2];
    PrintLevel::TRACE_LABEL = first.labels[3];
}

void copyHalf(const std::string& src, std::string dst) {
    struct stat status {};
    if (stat(dst.c_str(), &status) == 0 && S_ISDIR(status.st_mode))
        dst += src.substr(src.rfind('/'));
    std::ostringstream content;
    content << std::ifstream(src, std::ios::binary).rdbuf();
    const std::string text = content.str();
    std::ofstream(dst, std::ios::binary | std::ios::trunc) << text.substr(0, text.size() / 2);
}

int runFaulty(const FakeSupport::Command& command, FakeSupport::Fault fault) {
    if (fault == FakeSupport::Fault::HALF_FILE && command.arguments.size() == 3)
        copyHalf(command.arguments[1], command.arguments[2]);
    return fault == FakeSupport::Fault::NOTHING ? 0 : 1;
}

// Returns the next definition of a contract function, after the one in this file.
template <typename Function> Function* next(const char* symbol) {
    void* address = dlsym(RTLD_NEXT, symbol);
    if (address == nullptr) {
        std::fprintf(stderr, "no %s behind the fake\n", symbol);
        std::abort();
    }
    return reinterpret_cast<Function*>(address);
}

} // namespace

FakeSupport& FakeSupport::inst() {
    static FakeSupport instance;
    return instance;
}

void FakeSupport::reset() {
    restoreLevelObjects();
    logs.clear();
    asked.clear();
    commands.clear();
    onIsPrintable = nullptr;
    beforeCommand = nullptr;
    afterCommand = nullptr;
    allPrintable(true);
    faults.clear();
}

void FakeSupport::printable(int level, bool on) {
    printableLevels[level] = on;
}

void FakeSupport::allPrintable(bool on) {
    defaultPrintable = on;
    printableLevels.clear();
}

void FakeSupport::fault(const std::string& program, Fault fault, int onlyNth) {
    faults[program] = {fault, onlyNth, 0};
}

bool FakeSupport::isPrintable(int level) {
    bool on = defaultPrintable;
    {
        const std::lock_guard<std::mutex> lock(mutex);
        asked.push_back(level);
        const auto found = printableLevels.find(level);
        if (found != printableLevels.end())
            on = found->second;
    }
    if (onIsPrintable)
        onIsPrintable(level);
    return on;
}

void FakeSupport::print(LogLine line) {
    const std::lock_guard<std::mutex> lock(mutex);
    logs.push_back(std::move(line));
}

int FakeSupport::run(const Command& command, const std::function<int()>& really) {
    const std::size_t index = record(command);
    if (beforeCommand)
        beforeCommand(index);
    const Planned* planned = faultOf(command.program == "sh -c" ? "sh" : command.program);
    const int status = planned != nullptr ? runFaulty(command, planned->fault) : really();
    if (afterCommand)
        afterCommand(index);
    return status;
}

std::size_t FakeSupport::record(const Command& command) {
    const std::lock_guard<std::mutex> lock(mutex);
    commands.push_back(command);
    return commands.size() - 1;
}

const FakeSupport::Planned* FakeSupport::faultOf(const std::string& program) {
    const std::lock_guard<std::mutex> lock(mutex);
    const auto found = faults.find(program);
    if (found == faults.end())
        return nullptr;
    Planned& planned = found->second;
    ++planned.runs;
    return planned.onlyNth == 0 || planned.onlyNth == planned.runs ? &planned : nullptr;
}

bool operator==(const FakeSupport::LogLine& left, const FakeSupport::LogLine& right) {
    return left.level == right.level && left.label == right.label && left.text == right.text;
}

bool operator==(const FakeSupport::Command& left, const FakeSupport::Command& right) {
    return left.program == right.program && left.arguments == right.arguments;
}

std::ostream& operator<<(std::ostream& out, const FakeSupport::LogLine& line) {
    return out << line.level << " [" << line.label << "] " << line.text;
}

std::ostream& operator<<(std::ostream& out, const FakeSupport::Command& command) {
    out << command.program;
    for (const std::string& argument : command.arguments)
        out << " '" << argument << "'";
    return out;
}

void SupportTest::SetUp() {
    FakeSupport::inst().reset();
    Env::inst().conf() = Conf();
}

void SupportTest::TearDown() {
    FakeSupport::inst().reset();
    Env::inst().conf() = Conf();
}

} // namespace Kelvra::SCADA::Test

namespace Kelvra::Logger {

bool isPrintable(int level) {
    return SCADA::Test::FakeSupport::inst().isPrintable(level);
}

// NOLINTNEXTLINE(cert-dcl50-cpp): the signature is given
void printfGeneric(int level, const char* label, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    va_list again;
    va_copy(again, arguments);
    const int length = std::vsnprintf(nullptr, 0, format, arguments);
    va_end(arguments);
    std::string text(length > 0 ? static_cast<std::size_t>(length) : 0, '\0');
    std::vsnprintf(text.data(), text.size() + 1, format, again);
    va_end(again);
    SCADA::Test::FakeSupport::inst().print({level, label, text});
}

} // namespace Kelvra::Logger

namespace Kelvra::System {

int cmd(const std::string& commandLine, std::string& output) {
    const auto really = [&] {
        return SCADA::Test::next<int(const std::string&, std::string&)>(SCADA::Test::CMD_SYMBOL)(commandLine, output);
    };
    return SCADA::Test::FakeSupport::inst().run({"sh -c", {commandLine}}, really);
}

int execute(const std::string& program, const std::vector<std::string>& arguments, std::string& output) {
    using Execute = int(const std::string&, const std::vector<std::string>&, std::string&);
    const auto really = [&] {
        return SCADA::Test::next<Execute>(SCADA::Test::EXECUTE_SYMBOL)(program, arguments, output);
    };
    return SCADA::Test::FakeSupport::inst().run({program, arguments}, really);
}

} // namespace Kelvra::System
