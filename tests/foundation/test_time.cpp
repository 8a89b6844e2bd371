// Calendar fields, strings and clocks of tam::Time, against GNU date.
#include <gtest/gtest.h>

#include <chrono>
#include <climits>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "foundation/tamTime.h"

namespace {

std::vector<std::vector<std::string>> ReadTable(const std::string& name) {
    std::ifstream in(std::string(TAM_TEST_DATA_DIR) + "/foundation/time/" + name);
    std::vector<std::vector<std::string>> rows;
    std::string line;
    std::getline(in, line);  // header
    while (std::getline(in, line)) {
        std::vector<std::string> fields;
        std::stringstream stream(line);
        std::string field;
        while (std::getline(stream, field, '\t')) fields.push_back(field);
        rows.push_back(fields);
    }
    return rows;
}

// Sets TZ for the test's duration and puts the old value back.
class TimeZoneTest : public ::testing::Test {
protected:
    void SetUp() override {
        const char* old = std::getenv("TZ");
        hadZone = old != nullptr;
        if (hadZone) oldZone = old;
    }
    void TearDown() override {
        if (hadZone)
            setenv("TZ", oldZone.c_str(), 1);
        else
            unsetenv("TZ");
        tzset();
    }
    static void UseZone(const std::string& zone) {
        setenv("TZ", zone.c_str(), 1);
        tzset();
    }
    bool hadZone = false;
    std::string oldZone;
};

TEST_F(TimeZoneTest, CalendarFieldsAndStringsMatchDate) {
    const auto rows = ReadTable("calendar.tsv");
    ASSERT_GT(rows.size(), 90u);
    for (const auto& row : rows) {
        ASSERT_EQ(row.size(), 17u);
        UseZone(row[0]);
        const tam::Time time(std::stoll(row[1]));
        SCOPED_TRACE(row[0] + " " + row[1]);
        EXPECT_EQ(time.GetYear(), std::stoi(row[2]));
        EXPECT_EQ(time.GetMonth(), std::stoi(row[3]));
        EXPECT_EQ(time.GetDayOfMonth(), std::stoi(row[4]));
        EXPECT_EQ(time.GetDayOfWeek(), std::stoi(row[5]));
        EXPECT_EQ(time.GetHours(), std::stoi(row[6]));
        EXPECT_EQ(time.GetMinutes(), std::stoi(row[7]));
        EXPECT_EQ(time.GetSeconds(), std::stoi(row[8]));
        EXPECT_EQ(time.GetMilliseconds(), std::stoi(row[9]));
        EXPECT_EQ(time.IsDaylightSavingTime(), row[10] == "1");
        if (row[11] != "-") {
            EXPECT_STREQ(time.GetTimeZone(), row[11].c_str());
        }
        EXPECT_STREQ(time.MakeString(true, false, false, false), row[12].c_str());
        EXPECT_STREQ(time.MakeString(true, true, true, false), row[13].c_str());
        EXPECT_STREQ(time.MakeString(true, true, false, true), row[14].c_str());
        EXPECT_STREQ(time.MakeString(false, true, true, false), row[15].c_str());
        EXPECT_STREQ(time.MakeString(false, true, true, true), row[16].c_str());
        EXPECT_STREQ(time.MakeString(false, false, true, true), "");
    }
}

TEST_F(TimeZoneTest, ConstructionFromFieldsMatchesDate) {
    const auto rows = ReadTable("construct.tsv");
    ASSERT_GT(rows.size(), 60u);
    for (const auto& row : rows) {
        ASSERT_EQ(row.size(), 9u);
        UseZone(row[0]);
        const tam::Time time(std::stoi(row[1]), std::stoi(row[2]), std::stoi(row[3]), std::stoi(row[4]),
                             std::stoi(row[5]), std::stoi(row[6]), std::stoi(row[7]));
        EXPECT_EQ(time.GetTime(), std::stoll(row[8]))
            << row[0] << " " << row[1] << "-" << row[2] << "-" << row[3];
    }
}

TEST_F(TimeZoneTest, ExtendedRangeRoundTripsThroughTheCalendar) {
    // Both directions of the extended range use the same fixed offset, so
    // fields survive a round trip in any zone, fractional offsets included.
    for (const char* zone : {"UTC", "Asia/Kolkata", "America/New_York", "Pacific/Chatham"}) {
        UseZone(zone);
        for (int year : {1, 400, 1583, 1969, 2038, 2100, 2399, 9999}) {
            for (int month : {0, 1, 11}) {
                const int day = month == 1 ? 28 : 31;
                const tam::Time time(year, month, day, 23, 0, 0, 0);
                SCOPED_TRACE(std::string(zone) + " " + std::to_string(year) + "/" + std::to_string(month));
                EXPECT_EQ(time.GetYear(), year);
                EXPECT_EQ(time.GetMonth(), month);
                EXPECT_EQ(time.GetDayOfMonth(), day);
                EXPECT_EQ(time.GetHours(), 23);
            }
        }
    }
}

TEST_F(TimeZoneTest, ExtendedRangeReportsTheDaylightZoneName) {
    // Outside the library's range the calendar has no daylight flag, which
    // counts as daylight time; the name then is the zone's daylight name.
    UseZone("America/New_York");
    EXPECT_TRUE(tam::Time(0).IsDaylightSavingTime());
    EXPECT_STREQ(tam::Time(0).GetTimeZone(), "EDT");
    UseZone("Europe/London");
    EXPECT_STREQ(tam::Time(4102444800000LL).GetTimeZone(), "BST");
}

TEST(TimeTest, ZoneNameRule) {
    EXPECT_STREQ(tam::Time::AbbreviateTimeZone("GMT Daylight Time", true), "BST");
    EXPECT_STREQ(tam::Time::AbbreviateTimeZone("GMT DAYLIGHT TIME", true), "BST");
    EXPECT_STREQ(tam::Time::AbbreviateTimeZone("GMT Daylight Time", false), "GMT");
    EXPECT_STREQ(tam::Time::AbbreviateTimeZone("gmt daylight time", true), "gmt") << "GMT must match exactly";
    EXPECT_STREQ(tam::Time::AbbreviateTimeZone("Pacific Daylight Time", true), "Pac");
    EXPECT_STREQ(tam::Time::AbbreviateTimeZone("CEST", true), "CES");
    EXPECT_STREQ(tam::Time::AbbreviateTimeZone("", true), "");
    EXPECT_STREQ(tam::Time::AbbreviateTimeZone(nullptr, false), "");
}

TEST(TimeTest, MonthAndWeekdayNamesWrap) {
    EXPECT_STREQ(tam::Time::GetMonthName(0, true), "Jan");
    EXPECT_STREQ(tam::Time::GetMonthName(11, false), "December");
    EXPECT_STREQ(tam::Time::GetMonthName(12, true), "Jan");
    EXPECT_STREQ(tam::Time::GetMonthName(-1, false), "December");
    EXPECT_STREQ(tam::Time::GetWeekdayName(0, false), "Sunday");
    EXPECT_STREQ(tam::Time::GetWeekdayName(6, true), "Sat");
    EXPECT_STREQ(tam::Time::GetWeekdayName(7, true), "Sun");
    EXPECT_STREQ(tam::Time::GetWeekdayName(INT_MIN, false), "Friday");  // INT_MIN mod 7 is 5
}

TEST(TimeTest, SettingTheSystemClockIsRefused) {
    EXPECT_FALSE(tam::Time(1000).SetSystemTimeToThisTime());
}

TEST(TimeTest, HostileCountsAndFieldsStayDefined) {
    // Run under the sanitizers: no overflow, no crash, whatever the values.
    for (long long count : {LLONG_MIN, LLONG_MAX, LLONG_MIN + 1, -86400000LL * 365 * 100000}) {
        const tam::Time time(count);
        (void)time.GetYear();
        (void)time.GetDayOfWeek();
        EXPECT_GE(time.GetMinutes(), 0);
        EXPECT_GE(time.GetSeconds(), 0);
        EXPECT_GE(time.GetMilliseconds(), 0);
        EXPECT_FALSE(time.MakeString(true, true, true, false).IsEmpty());
    }
    const tam::Time wild(INT_MAX, INT_MAX, INT_MIN, INT_MAX, INT_MIN, INT_MAX, INT_MAX);
    (void)wild.GetYear();
    const tam::Time wilder(INT_MIN, INT_MIN, INT_MAX, INT_MIN, INT_MAX, INT_MIN, INT_MIN);
    (void)wilder.GetYear();
}

TEST(TimeTest, ClocksMoveForwardTogether) {
    const uint32_t counter = tam::Time::GetMillisecondCounter();
    const long long ticks = tam::Time::GetHighResolutionTicks();
    const double precise = tam::Time::GetHighResolutionMillisecondCounter();
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    const uint32_t counterLater = tam::Time::GetMillisecondCounter();
    EXPECT_GE(counterLater - counter, 19u);
    EXPECT_LT(counterLater - counter, 5000u);
    const double tickMilliseconds = static_cast<double>(tam::Time::GetHighResolutionTicks() - ticks) *
                                    1000.0 /
                                    static_cast<double>(tam::Time::GetHighResolutionTicksPerSecond());
    EXPECT_GE(tickMilliseconds, 19.0);
    EXPECT_GE(tam::Time::GetHighResolutionMillisecondCounter() - precise, 19.0);

    const long long wall = std::chrono::duration_cast<std::chrono::milliseconds>(
                               std::chrono::system_clock::now().time_since_epoch())
                               .count();
    EXPECT_NEAR(static_cast<double>(tam::Time::CurrentTimeMillisecond()), static_cast<double>(wall), 1000.0);
    const long long first = tam::Time::GetCurrentSystemTime().GetTime();
    EXPECT_GE(tam::Time::GetCurrentSystemTime().GetTime(), first);
}

}  // namespace
