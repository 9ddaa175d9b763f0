/// The names of one struct's members, in order. Each stands in a catalogue: the struct's own, or
/// one that it shares with others. A copy has a catalogue of its own, but the names it copied it
/// reads where they stand, keeping them alive, so that copying a struct copies no text.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "tmsg/export.h"
#include "tmsg/value/tm_catalog.h"

class TMSG_API Tm_member_names {
public:
    /// Names in the given catalogue, which must outlive them; with null in one of their own.
    explicit Tm_member_names(Tm_catalog<std::string>* shared);
    /// Names in a catalogue that is kept alive here; not null.
    explicit Tm_member_names(Tm_shared_names const& shared);
    /// For a struct whose names stand elsewhere and that owns no catalogue either.
    static Tm_member_names unused();

    /// The copy owns its catalogue, whatever the source does.
    Tm_member_names(Tm_member_names const& other);
    Tm_member_names(Tm_member_names&& other) noexcept;
    Tm_member_names& operator=(Tm_member_names const& other) = delete;
    ~Tm_member_names();

    /// No names yet, in the same catalogue; in a new own one where this owns its own.
    Tm_member_names empty_sibling() const;

    bool owns_catalog() const { return owns_catalog_; }
    std::size_t size() const { return names_.size(); }
    std::string const& operator[](std::size_t position) const { return *names_[position]; }

    /// The stored name; adding it to the list is a second step.
    std::string const& intern(std::string_view name);
    /// The name itself where this owns its catalogue, keeping `keeper` alive; else interned.
    std::string const& borrow(std::string const& name, std::shared_ptr<void const> const& keeper);
    /// `interned` must come from intern() or borrow() of these names.
    void append(std::string const& interned);
    /// Room for one more, so that the next append() cannot fail.
    void reserve_next();

    /// Forgets the list and lets an own catalogue go; a shared one stays as it is.
    void clear() noexcept;
    /// Between two that own or two that share their catalogues. Two that share go on using their
    /// own one each; where callers keep these alive, both catalogues must outlive both now.
    void swap(Tm_member_names& other);
    /// Exchanges everything, between any two.
    void swap_all(Tm_member_names& other) noexcept;

private:
    std::vector<std::string const*> interned(std::vector<std::string const*> const& names);
    void copy_list(Tm_member_names const& other);
    void borrow_list(Tm_member_names const& other, std::shared_ptr<void const> const& lender);
    bool is_worth_lending() const;

    std::shared_ptr<void const> lent_;  ///< keeps the names alive that this borrowed
    Tm_shared_names kept_;              ///< the own catalogue, or a shared one kept alive
    Tm_catalog<std::string>* catalog_;  ///< where names go; null until an own one is needed
    bool owns_catalog_;
    std::vector<std::string const*> names_;
};
