/// Another class called Message, with members that have the names and arguments of the library's.
#pragma once

class Message {
public:
    Message();
    Message(Message const& other);
    virtual ~Message();
    virtual int get_msg_type() const;
    virtual Message* clone() const;
    bool has_fault() const;

private:
    int type_;
};

/// Uses the class. Returns what went wrong, or null.
char const* fault_of_theirs();
[[noreturn]] void throw_theirs();
