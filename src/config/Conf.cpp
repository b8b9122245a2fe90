#include <scada/Conf.h>

namespace Kelvra::SCADA {

const std::string Conf::DFN_DATABASE_SOCKET = "/var/run/redis/redis-server.sock";
const unsigned int Conf::DFN_DATABASE_NUMBER = 2;
const unsigned int Conf::DFN_DATABASE_KEY_TTL = 129600;
const std::string Conf::DFN_STORAGE_DEFAULT_DIR = "/etc/scada/sensors";
const std::string Conf::DFN_STORAGE_CUSTOM_DIR = "/var/config/scada/sensors";
const std::string Conf::DFN_STORAGE_STAGING_DIR = "/var/run/scada/sensors/staging";
const std::string Conf::SENSOR_MAP_FILE = "/var/config/scada/sensors_map.json";

Conf::Conf()
    : dfnDatabaseSocket(DFN_DATABASE_SOCKET), dfnDatabaseNumber(static_cast<unsigned char>(DFN_DATABASE_NUMBER)),
      dfnDatabaseKeyTtl(DFN_DATABASE_KEY_TTL), dfnDefaultDir(DFN_STORAGE_DEFAULT_DIR),
      dfnCustomDir(DFN_STORAGE_CUSTOM_DIR), dfnStagingDir(DFN_STORAGE_STAGING_DIR), sensorMapFile(SENSOR_MAP_FILE) {}

const std::string& Conf::getDfnDatabaseSocket() const {
    return dfnDatabaseSocket;
}

void Conf::setDfnDatabaseSocket(const std::string& value) {
    dfnDatabaseSocket = value;
}

unsigned char Conf::getDfnDatabaseNumber() const {
    return dfnDatabaseNumber;
}

void Conf::setDfnDatabaseNumber(unsigned char value) {
    dfnDatabaseNumber = value;
}

unsigned int Conf::getDfnDatabaseKeyTtl() const {
    return dfnDatabaseKeyTtl;
}

void Conf::setDfnDatabaseKeyTtl(unsigned int value) {
    dfnDatabaseKeyTtl = value;
}

const std::string& Conf::getDfnDefaultDir() const {
    return dfnDefaultDir;
}

void Conf::setDfnDefaultDir(const std::string& value) {
    dfnDefaultDir = value;
}

const std::string& Conf::getDfnCustomDir() const {
    return dfnCustomDir;
}

void Conf::setDfnCustomDir(const std::string& value) {
    dfnCustomDir = value;
}

const std::string& Conf::getDfnStagingDir() const {
    return dfnStagingDir;
}

void Conf::setDfnStagingDir(const std::string& value) {
    dfnStagingDir = value;
}

const std::string& Conf::getSensorMapFile() const {
    return sensorMapFile;
}

// By value: compiled host programs link against the mangled name.
void Conf::setSensorMapFile(std::string value) {
    sensorMapFile = value; // NOLINT(performance-unnecessary-value-param)
}

} // namespace Kelvra::SCADA
