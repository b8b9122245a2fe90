#pragma once

#include <scada/export.h>

#include <string>

/// The outer namespace, of the library and of the support contract.
namespace Kelvra {
/// The library: sensor definitions, managed sensors, installation, and access to the database.
namespace SCADA {

/// The configuration record: paths and database settings, with compiled-in defaults.
/// A plain value. Setters only assign; they neither check nor normalise a path. A string getter returns a reference
/// into the record, valid until that field is set again or the record is destroyed. Not synchronised: set it up before
/// other threads read it.
class SCADA_EXPORT Conf {
public:
    static const std::string DFN_DATABASE_SOCKET;     ///< "/var/run/redis/redis-server.sock"
    static const unsigned int DFN_DATABASE_NUMBER;    ///< 2
    static const unsigned int DFN_DATABASE_KEY_TTL;   ///< 129600 seconds (36 hours)
    static const std::string DFN_STORAGE_DEFAULT_DIR; ///< "/etc/scada/sensors"
    static const std::string DFN_STORAGE_CUSTOM_DIR;  ///< "/var/config/scada/sensors"
    static const std::string DFN_STORAGE_STAGING_DIR; ///< "/var/run/scada/sensors/staging"
    static const std::string SENSOR_MAP_FILE;         ///< "/var/config/scada/sensors_map.json"

    /// Sets every field to its default constant. The database number is truncated to 8 bits.
    Conf();

    /// Returns the path of the Redis server's Unix socket. Database objects do not read it: pass it to
    /// DatabaseBase::setup.
    const std::string& getDfnDatabaseSocket() const;
    /// Sets the path of the Redis server's Unix socket.
    void setDfnDatabaseSocket(const std::string& value);

    /// Returns the Redis logical database number.
    unsigned char getDfnDatabaseNumber() const;
    /// Sets the Redis logical database number.
    void setDfnDatabaseNumber(unsigned char value);

    /// Returns the default expiry of database keys, in seconds.
    unsigned int getDfnDatabaseKeyTtl() const;
    /// Sets the default expiry of database keys, in seconds.
    void setDfnDatabaseKeyTtl(unsigned int value);

    /// Returns the directory of the default definition storage.
    const std::string& getDfnDefaultDir() const;
    /// Sets the directory of the default definition storage. While it is empty, lookups skip it.
    void setDfnDefaultDir(const std::string& value);

    /// Returns the directory of the custom definition storage.
    const std::string& getDfnCustomDir() const;
    /// Sets the directory of the custom definition storage. While it is empty, lookups skip it, but installing and
    /// removing definitions work below "/".
    void setDfnCustomDir(const std::string& value);

    /// Returns the scratch directory of installations.
    const std::string& getDfnStagingDir() const;
    /// Sets the scratch directory of installations. The path reaches a shell unquoted: see FsNode::ensureCleanDir.
    void setDfnStagingDir(const std::string& value);

    /// Returns the path of the managed-sensors list.
    const std::string& getSensorMapFile() const;
    /// Sets the path of the managed-sensors list.
    void setSensorMapFile(std::string value);

private:
    std::string dfnDatabaseSocket;
    unsigned char dfnDatabaseNumber;
    unsigned int dfnDatabaseKeyTtl;
    std::string dfnDefaultDir;
    std::string dfnCustomDir;
    std::string dfnStagingDir;
    std::string sensorMapFile;
};

} // namespace SCADA
} // namespace Kelvra
