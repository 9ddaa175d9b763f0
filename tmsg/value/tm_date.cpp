#include "tmsg/value/tm_date.h"

#include <limits>

namespace {

void set_within(int& field, int value, int low, int high) {
    if (value >= low && value <= high) field = value;
}

}  // namespace

Tm_date::Tm_date() : Tm_date(2001, 1, 1, 0, 0, 1) {}

Tm_date::Tm_date(int year, int month, int day, int hour, int minutes, int seconds) {
    set_year(year);
    set_month(month);
    set_day(day);
    set_hour(hour);
    set_minutes(minutes);
    set_seconds(seconds);
}

Tm_date::~Tm_date() = default;

void Tm_date::set_year(int year) { set_within(year_, year, 1, std::numeric_limits<int>::max()); }
void Tm_date::set_month(int month) { set_within(month_, month, 1, 12); }
void Tm_date::set_day(int day) { set_within(day_, day, 1, 31); }
void Tm_date::set_hour(int hour) { set_within(hour_, hour, 0, 23); }
void Tm_date::set_minutes(int minutes) { set_within(minutes_, minutes, 0, 59); }
void Tm_date::set_seconds(int seconds) { set_within(seconds_, seconds, 0, 59); }
