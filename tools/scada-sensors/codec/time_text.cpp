#include "codec/time_text.h"

#include <array>
#include <regex>

namespace Kelvra::SCADA::Tool {

namespace {

constexpr std::int64_t SECONDS_A_DAY = 86400;

bool isLeapYear(int year) {
    return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
}

int daysOf(int month, int year) {
    static constexpr std::array<int, 12> DAYS = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    return DAYS.at(static_cast<std::size_t>(month - 1)) + (month == 2 && isLeapYear(year) ? 1 : 0);
}

// Counts from 1970-01-01.
std::int64_t dayNumber(int year, int month, int day) {
    constexpr int EPOCH = 719162; // days from the year 1 to 1970
    const std::int64_t past = year - 1;
    std::int64_t days = past * 365 + past / 4 - past / 100 + past / 400 - EPOCH;
    for (int one = 1; one < month; ++one)
        days += daysOf(one, year);
    return days + day - 1;
}

bool isZone(const std::string& zone) {
    constexpr int LAST_HOUR = 23;
    constexpr int LAST_MINUTE = 59;
    return zone.empty() || zone == "Z" ||
           (std::stoi(zone.substr(1, 2)) <= LAST_HOUR && std::stoi(zone.substr(zone.size() - 2)) <= LAST_MINUTE);
}

// Returns how many minutes a zone is ahead of UTC.
int zoneMinutes(const std::string& zone) {
    if (zone.empty() || zone == "Z")
        return 0;
    const int minutes = std::stoi(zone.substr(1, 2)) * 60 + std::stoi(zone.substr(zone.size() - 2));
    return zone[0] == '-' ? -minutes : minutes;
}

int millisecondsOf(const std::string& fraction) {
    return fraction.empty() ? 0 : std::stoi((fraction + "00").substr(0, 3));
}

} // namespace

std::optional<std::int64_t> millisecondsFromTime(const std::string& text) {
    static const std::regex form(R"((\d{4})-(\d\d)-(\d\d)T(\d\d):(\d\d):(\d\d)(?:\.(\d{1,9}))?(Z|[+-]\d\d:?\d\d)?)");
    constexpr std::size_t LONGEST = 40;
    std::smatch parts;
    if (text.size() > LONGEST || !std::regex_match(text, parts, form))
        return std::nullopt;
    const auto number = [&parts](std::size_t part) { return std::stoi(parts[part].str()); };
    const int year = number(1);
    const int month = number(2);
    const int day = number(3);
    if (year < 1 || month < 1 || month > 12 || day < 1 || day > daysOf(month, year) || number(4) > 23 ||
        number(5) > 59 || number(6) > 59 || !isZone(parts[8].str()))
        return std::nullopt;
    const std::int64_t minutes = number(4) * std::int64_t{60} + number(5) - zoneMinutes(parts[8].str());
    const std::int64_t seconds = dayNumber(year, month, day) * SECONDS_A_DAY + minutes * 60 + number(6);
    return seconds * 1000 + millisecondsOf(parts[7].str());
}

} // namespace Kelvra::SCADA::Tool
