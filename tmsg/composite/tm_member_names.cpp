#include "tmsg/composite/tm_member_names.h"

#include <utility>

#include "tmsg/composite/tm_grow.h"

Tm_member_names::Tm_member_names(Tm_catalog<std::string>* shared)
    : catalog_(shared), owns_catalog_(shared == nullptr) {}

Tm_member_names::Tm_member_names(Tm_shared_names const& shared)
    : kept_(shared), catalog_(shared.get()), owns_catalog_(false) {}

Tm_member_names Tm_member_names::unused() {
    Tm_member_names names(nullptr);
    names.owns_catalog_ = false;
    return names;
}

Tm_member_names::Tm_member_names(Tm_member_names const& other)
    : catalog_(nullptr), owns_catalog_(true) {
    copy_list(other);
}

Tm_member_names::Tm_member_names(Tm_member_names&& other) noexcept = default;

Tm_member_names::~Tm_member_names() = default;

Tm_member_names Tm_member_names::empty_sibling() const {
    if (owns_catalog_) return Tm_member_names(nullptr);
    if (kept_ != nullptr) return Tm_member_names(kept_);
    return catalog_ == nullptr ? unused() : Tm_member_names(catalog_);
}

std::string const& Tm_member_names::intern(std::string_view name) {
    if (catalog_ == nullptr) {
        kept_ = std::make_shared<Tm_catalog<std::string>>();
        catalog_ = kept_.get();
    }
    return catalog_->add(name)->first;
}

std::string const& Tm_member_names::borrow(std::string const& name,
                                           std::shared_ptr<void const> const& keeper) {
    if (!owns_catalog_ || (lent_ != nullptr && lent_ != keeper)) return intern(name);
    lent_ = keeper;
    return name;
}

void Tm_member_names::append(std::string const& interned) {
    reserve_next();
    names_.push_back(&interned);
}

void Tm_member_names::reserve_next() { tm_reserve_next(names_); }

void Tm_member_names::clear() noexcept {
    names_.clear();
    lent_.reset();
    if (owns_catalog_) {
        kept_.reset();
        catalog_ = nullptr;
    }
}

void Tm_member_names::swap(Tm_member_names& other) {
    if (owns_catalog_ && other.owns_catalog_) {
        swap_all(other);
        return;
    }
    bool const kept_by_callers = kept_ == nullptr && other.kept_ == nullptr;
    if (kept_by_callers || catalog_ == other.catalog_) {
        names_.swap(other.names_);
        return;
    }
    auto mine = interned(other.names_);
    other.names_ = other.interned(names_);
    names_ = std::move(mine);
}

/// The same names, as they stand in this catalogue.
std::vector<std::string const*> Tm_member_names::interned(
    std::vector<std::string const*> const& names) {
    std::vector<std::string const*> list;
    list.reserve(names.size());
    for (std::string const* name : names) list.push_back(&intern(*name));
    return list;
}

void Tm_member_names::swap_all(Tm_member_names& other) noexcept {
    lent_.swap(other.lent_);
    kept_.swap(other.kept_);
    std::swap(catalog_, other.catalog_);
    std::swap(owns_catalog_, other.owns_catalog_);
    names_.swap(other.names_);
}

/// The catalogue of the source is looked at only where the source itself writes to it, for then
/// both are on one thread; a lender's catalogue may be growing on another.
void Tm_member_names::copy_list(Tm_member_names const& other) {
    if (other.lent_ != nullptr && other.catalog_ == nullptr) {
        borrow_list(other, other.lent_);
    } else if (other.lent_ == nullptr && other.kept_ != nullptr && other.is_worth_lending()) {
        borrow_list(other, other.kept_);
    } else {
        names_ = interned(other.names_);
    }
}

/// A copy must not keep a huge catalogue alive for a few short names; but if each of many structs
/// copied its long names, they could fill the memory.
bool Tm_member_names::is_worth_lending() const {
    constexpr std::size_t small_catalog = 1024;
    constexpr std::size_t long_name = 64;
    if (catalog_->size() <= small_catalog + 2 * names_.size()) return true;
    std::size_t bytes = 0;
    for (std::string const* name : names_) bytes += name->size();
    return bytes > long_name * names_.size();
}

void Tm_member_names::borrow_list(Tm_member_names const& other,
                                  std::shared_ptr<void const> const& lender) {
    names_ = other.names_;
    lent_ = lender;
}
