// A host program of one page: takes the bytes of a sensor's uplink, has a runner program of its own choice run the
// decoder, stores the values where the SCADA service reads them, and reads them back with the units of the definition.

#include <json/json.h>
#include <scada/Database.h>
#include <scada/Env.h>
#include <scada/SensorMap.h>

#include <array>
#include <charconv>
#include <fstream>
#include <iostream>
#include <sstream>
#include <stdexcept>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using namespace Kelvra::SCADA;
using Fields = std::vector<std::pair<std::string, std::string>>;

// One line of JSON with the decoder and one call, as docs/codec-runner.md describes it.
std::string requestFor(const std::string& decoderPath, const Json::Value& call) {
    std::ostringstream decoder;
    decoder << std::ifstream(decoderPath).rdbuf();
    Json::Value request;
    request["version"] = 1;
    request["decoder"] = decoder.str();
    request["calls"].append(call);
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    return Json::writeString(builder, request) + "\n";
}

// The decoder is a stranger's program: it gets no environment, no descriptor of ours but this socket, and two seconds.
std::string answerOf(const std::string& runner, const std::string& request) {
    std::array<int, 2> ends = {-1, -1};
    const pid_t child = socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) == 0 ? fork() : -1;
    if (child == 0) {
        dup2(ends[1], STDIN_FILENO);
        dup2(ends[1], STDOUT_FILENO);
        alarm(2);
        execl("/usr/bin/env", "env", "-i", runner.c_str(), nullptr);
        _exit(127);
    }
    close(ends[1]);
    send(ends[0], request.data(), request.size(), MSG_NOSIGNAL);
    shutdown(ends[0], SHUT_WR);
    std::string answer;
    std::array<char, 4096> piece = {};
    for (ssize_t size = 0; (size = recv(ends[0], piece.data(), piece.size(), 0)) > 0;)
        answer.append(piece.data(), static_cast<std::size_t>(size));
    close(ends[0]);
    waitpid(child, nullptr, 0);
    return answer.empty() ? throw std::runtime_error(runner + " gave no answer") : answer;
}

// The values of the properties that the definition describes: shortest numbers, truth values as 1 and 0.
Fields fieldsOf(const Json::Value& data, SensorMap& map, const std::string& src, const std::string& id) {
    Fields fields;
    for (const std::string& name : data.getMemberNames()) {
        std::array<char, 32> number = {};
        if (data[name].isNumeric() || data[name].isBool())
            std::to_chars(number.data(), number.data() + number.size(), data[name].asDouble());
        if ((number[0] != 0 || data[name].isString()) && !map.getMeasurement(src, id, name, nullptr).isNull())
            fields.emplace_back(name, number[0] != 0 ? number.data() : data[name].asString());
    }
    return fields;
}

// The first entry point of the runner's page returns the data as a member; the older ones return the data themselves.
Json::Value dataOf(const std::string& line) {
    Json::Value answer;
    std::istringstream(line) >> answer;
    const Json::Value& value = answer["results"][0]["value"];
    if (!value.isObject() || !value.get("errors", Json::arrayValue).empty())
        throw std::runtime_error("not decoded: " + line);
    return answer["entryPoint"] == "decodeUplink" ? value["data"] : value;
}

void serve(const std::string& runner, const std::string& src, const std::string& id, const Json::Value& call) {
    SensorMap map;
    std::string path, text;
    if (!map.Load() || !map.getDecoderPath(src, id, &path))
        throw std::runtime_error("no decoder for " + src + "@" + id);
    const Fields fields = fieldsOf(dataOf(answerOf(runner, requestFor(path, call))), map, src, id);
    Database database; // has to be told what Env has
    database.setup(Env::inst().conf().getDfnDatabaseSocket(), Env::inst().conf().getDfnDatabaseNumber(), 3600);
    const std::string key = src + "@" + id;
    if (database.hmset(key, fields) != Database::RESULT_OK || database.expire(key) != Database::RESULT_OK)
        throw std::runtime_error("cannot store " + key);
    for (const auto& [name, value] : fields) {
        const std::string unit = map.getMeasurement(src, id, name, nullptr)["unit"].asString();
        if (database.hget(key, name, &text) != Database::RESULT_OK)
            throw std::runtime_error("cannot read " + key);
        std::cout << name << ": " << text << ' ' << unit << '\n';
    }
}
} // namespace

int main(int argc, char* argv[]) try {
    if (argc < 10)
        throw std::runtime_error(
            "usage: uplink-host SOCKET DEFAULT_DIR CUSTOM_DIR MAP_FILE RUNNER SRC ID PORT BYTE...");
    Conf& conf = Env::inst().conf();
    conf.setDfnDatabaseSocket(argv[1]);
    conf.setDfnDefaultDir(argv[2]);
    conf.setDfnCustomDir(argv[3]);
    conf.setSensorMapFile(argv[4]);
    Json::Value call;
    call["fPort"] = std::stoi(argv[8]);
    for (int i = 9; i < argc; ++i)
        call["bytes"].append(std::stoi(argv[i], nullptr, 16));
    serve(argv[5], argv[6], argv[7], call);
} catch (const std::exception& exception) {
    std::cerr << exception.what() << '\n';
    return argc < 10 ? 2 : 1;
}
