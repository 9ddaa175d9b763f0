#include "temporary_files.h"

#include <tmsg/tmsg.h>
#include <unistd.h>

namespace {

void collect(Tm_value const& value, std::vector<std::string>& paths);

template <class Container>
void collect_all(Container const& container, std::vector<std::string>& paths) {
    for (int i = 0; i < container.get_member_count(); ++i) collect(*container.get_value(i), paths);
}

void collect(Tm_value const& value, std::vector<std::string>& paths) {
    switch (value.get_value_type()) {
        case TMV_FILE:
            paths.push_back(static_cast<Tm_file const&>(value).path());
            break;
        case TMV_ARRAY:
            collect_all(static_cast<Tm_array const&>(value), paths);
            break;
        case TMV_STRUCT:
            collect_all(static_cast<Tm_struct const&>(value), paths);
            break;
        case TMV_MESSAGE:
            for (auto const group : {Message::TMG_META, Message::TMG_BODY}) {
                collect_all(static_cast<Message const&>(value).get_const_struct(group), paths);
            }
            break;
        default:
            break;
    }
}

}  // namespace

Temporary_files::~Temporary_files() {
    for (std::string const& path : paths_) ::unlink(path.c_str());
}

void Temporary_files::add(std::vector<std::string> const& paths) {
    paths_.insert(paths_.end(), paths.begin(), paths.end());
}

void Temporary_files::add(Message const& received) { collect(received, paths_); }
