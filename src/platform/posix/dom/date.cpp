#include "platform/posix/dom/date.h"

#include <cmath>

#include "text/ascii.h"

namespace ZTKPosix::dom {

namespace {

class DateReader {
  public:
    DateReader(const wchar_t* text, std::size_t length) noexcept
        : next_(text), end_(text + length) {}

    [[nodiscard]] bool AtEnd() const noexcept { return next_ == end_; }

    bool Skip(wchar_t mark) noexcept {
        if (AtEnd() || *next_ != mark) {
            return false;
        }
        ++next_;
        return true;
    }

    // Exactly that many digits, for a number from least to most.
    bool Number(int digits, int least, int most, int& number) noexcept {
        number = 0;
        for (; digits > 0; --digits) {
            if (!AtDigit()) {
                return false;
            }
            number = number * 10 + (*next_++ - L'0');
        }
        return number >= least && number <= most;
    }

    // A point and at least one digit, if there is a point.
    bool Fraction(double& fraction) noexcept {
        fraction = 0;
        if (!Skip(L'.')) {
            return true;
        }
        const bool present = AtDigit();
        for (double unit = 0.1; AtDigit(); unit /= 10) {
            fraction += unit * (*next_++ - L'0');
        }
        return present;
    }

  private:
    [[nodiscard]] bool AtDigit() const noexcept { return !AtEnd() && ZTK::ascii::IsDigit(*next_); }

    const wchar_t* next_;
    const wchar_t* end_;
};

int DaysInMonth(int year, int month) noexcept {
    if (month == 2) {
        return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0) ? 29 : 28;
    }
    return month == 4 || month == 6 || month == 9 || month == 11 ? 30 : 31;
}

// Days from 30 December 1899 in today's calendar. Years are counted from March, so that the leap
// day is a year's last. REQUIRES: year is not negative.
long DayNumber(int year, int month, int day) noexcept {
    const long shifted_year = year + 400 - (month <= 2 ? 1 : 0);
    const long shifted_month = (month + 9) % 12;
    const long days = shifted_year * 365 + shifted_year / 4 - shifted_year / 100 +
                      shifted_year / 400 + (shifted_month * 153 + 2) / 5 + day - 1;
    constexpr long kOrigin = 839996;  // the same sum for 30 December 1899
    return days - kOrigin;
}

bool ReadDay(DateReader& reader, long& day_number) noexcept {
    int year = 0;
    int month = 0;
    int day = 0;
    if (!reader.Number(4, 1, 9999, year) || !reader.Skip(L'-') || !reader.Number(2, 1, 12, month) ||
        !reader.Skip(L'-') || !reader.Number(2, 1, DaysInMonth(year, month), day)) {
        return false;
    }
    day_number = DayNumber(year, month, day);
    return true;
}

bool ReadTime(DateReader& reader, double& seconds) noexcept {
    int hour = 0;
    int minute = 0;
    int second = 0;
    double fraction = 0;
    if (!reader.Number(2, 0, 23, hour) || !reader.Skip(L':') || !reader.Number(2, 0, 59, minute) ||
        !reader.Skip(L':') || !reader.Number(2, 0, 59, second) || !reader.Fraction(fraction)) {
        return false;
    }
    seconds = (hour * 60 + minute) * 60 + second + fraction;
    return true;
}

// Seconds that the zone is ahead; 0 when the text names none.
bool ReadZone(DateReader& reader, double& ahead) noexcept {
    ahead = 0;
    if (reader.AtEnd() || reader.Skip(L'Z')) {
        return true;
    }
    const bool west = reader.Skip(L'-');
    int hours = 0;
    int minutes = 0;
    if ((!west && !reader.Skip(L'+')) || !reader.Number(2, 0, 23, hours) || !reader.Skip(L':') ||
        !reader.Number(2, 0, 59, minutes)) {
        return false;
    }
    ahead = (hours * 60 + minutes) * 60 * (west ? -1 : 1);
    return true;
}

}  // namespace

bool ParseDate(const wchar_t* text, std::size_t length, bool has_date, bool has_time, bool has_zone,
               DATE& date) noexcept {
    DateReader reader(text, length);
    long day = 0;
    double seconds = 0;
    double ahead = 0;
    if (has_date && !ReadDay(reader, day)) {
        return false;
    }
    const bool only_day = has_date && (!has_time || reader.AtEnd());
    if (!only_day && ((has_date && !reader.Skip(L'T')) || !ReadTime(reader, seconds) ||
                      (has_zone && !ReadZone(reader, ahead)))) {
        return false;
    }
    if (!reader.AtEnd()) {
        return false;
    }
    const double exact = static_cast<double>(day) + (seconds + ahead) / 86400.0;
    // Before the origin the whole part counts days back while the fraction still counts the time of
    // the day forward.
    const double whole = std::floor(exact);
    date = whole < 0 ? whole - (exact - whole) : exact;
    return true;
}

}  // namespace ZTKPosix::dom
