#include "core/checked_number.h"

#include <cstdint>

#include <gtest/gtest.h>

namespace lumivale {
namespace {

using namespace std::chrono;

TEST(CheckedNumberTest, ReadsWholeFieldsThatFitTheirType) {
  EXPECT_EQ(CheckedNumber::parse<int>("2147483647"), 2147483647);
  EXPECT_EQ(CheckedNumber::parse<int>("2147483648"), std::nullopt);
  EXPECT_EQ(CheckedNumber::parse<int>("-12"), -12);
  EXPECT_EQ(CheckedNumber::parse<unsigned>("-12"), std::nullopt);
  EXPECT_EQ(CheckedNumber::parse<int>("12 "), std::nullopt);
  EXPECT_EQ(CheckedNumber::parse<int>(""), std::nullopt);
  EXPECT_EQ(CheckedNumber::parse<std::uint16_t>("ffff", 16), 0xffff);
  EXPECT_EQ(CheckedNumber::parse<std::uint16_t>("10000", 16), std::nullopt);
  EXPECT_EQ(CheckedNumber::leadingDigits<std::uint64_t>("12\t/sdcard"), 12u);
  EXPECT_EQ(CheckedNumber::leadingDigits<std::uint64_t>("\t12"), std::nullopt);
}

TEST(CheckedNumberTest, ArithmeticThatWouldWrapIsAbsent) {
  constexpr auto most = std::numeric_limits<std::int64_t>::max();
  EXPECT_EQ(CheckedNumber::product<std::int64_t>(most / 1024, 1024), most / 1024 * 1024);
  EXPECT_EQ(CheckedNumber::product<std::int64_t>(most / 1024 + 1, 1024), std::nullopt);
  EXPECT_EQ(CheckedNumber::sum<std::int64_t>(most, 1), std::nullopt);
  EXPECT_EQ(CheckedNumber::narrowed<int>(4294967296LL), std::nullopt);
  EXPECT_EQ(CheckedNumber::narrowed<int>(-5LL), -5);
}

TEST(CheckedNumberTest, DurationsAndClockTimesWithinTheirRange) {
  EXPECT_EQ(CheckedNumber::duration<nanoseconds>(seconds(9'223'372'036)),
            nanoseconds(9'223'372'036'000'000'000));
  EXPECT_EQ(CheckedNumber::duration<nanoseconds>(seconds(9'223'372'037)), std::nullopt);
  EXPECT_EQ(CheckedNumber::duration<seconds>(milliseconds(-1500)), seconds(-1));
  // Whatever the clock's unit, year 2000 fits and year 9999 fits only if the clock reaches it.
  const sys_seconds y2k = sys_days(2000y / 1 / 1);
  EXPECT_EQ(CheckedNumber::clockTime(y2k, milliseconds(5)),
            system_clock::time_point(y2k) + milliseconds(5));
  const sys_seconds far = sys_days(9999y / 12 / 31);
  EXPECT_EQ(CheckedNumber::clockTime(far).has_value(),
            far.time_since_epoch() <= duration_cast<seconds>(system_clock::duration::max()));
}

}  // namespace
}  // namespace lumivale
