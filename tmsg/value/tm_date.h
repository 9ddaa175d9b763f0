/// A calendar date and time of day. It is the base class for a date class of your own, which
/// defines how a date is cloned, compared and sent. The library itself makes no dates. No form of a
/// message has a date, so send another type in its place:
///
///     class My_date : public Tm_date {
///     public:
///         My_date* clone() const override { return new My_date(*this); }
///         bool equals(Tm_value const& other) const override;
///         TMV get_value_type() const override { return TMV_DATE; }
///         bool accept(Tm_visitor& to) const override { return to.visit_int32(get_year()); }
///     };
#pragma once

#include "tmsg/value/tm_value.h"

class TMSG_API Tm_date : public Tm_value {
public:
    /// Makes the date 2001-01-01 00:00:01.
    Tm_date();
    /// Sets a field to 0 when its argument is outside the range that the setters below name.
    Tm_date(int year, int month, int day, int hour, int minutes, int seconds);
    ~Tm_date() override;

    // Each setter ignores a value outside the range of its field.

    void set_year(int year);        ///< above 0
    void set_month(int month);      ///< 1 to 12
    void set_day(int day);          ///< 1 to 31, in every month
    void set_hour(int hour);        ///< 0 to 23
    void set_minutes(int minutes);  ///< 0 to 59
    void set_seconds(int seconds);  ///< 0 to 59

    int get_year() const { return year_; }
    int get_month() const { return month_; }
    int get_day() const { return day_; }
    int get_hour() const { return hour_; }
    int get_minutes() const { return minutes_; }
    int get_seconds() const { return seconds_; }

private:
    int year_ = 0;
    int month_ = 0;
    int day_ = 0;
    int hour_ = 0;
    int minutes_ = 0;
    int seconds_ = 0;
};
