#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Korr::Plim::Trace::Viewer {

/// The parameters of a question, name and value. What is asked for in a form that it has not throws
/// BadQuestion.
class Parameters {
  public:
    using List = std::vector<std::pair<std::string, std::string>>;
    explicit Parameters(List given) : list(std::move(given)) {}

    /// \throws BadQuestion when one is there twice or is none of these
    void RefuseAllBut(const std::vector<std::string_view>& names) const;
    /// Null when it is not there.
    const std::string* Find(std::string_view name) const;
    const std::string& Text(std::string_view name) const;
    /// A decimal number, finite: digits, a point, an exponent.
    double Number(std::string_view name) const;
    /// A whole number, digits alone.
    uint64_t Whole(std::string_view name, uint64_t smallest, uint64_t largest) const;
    /// "0" or "1"; false when it is not there.
    bool Flag(std::string_view name) const;

  private:
    List list;
};

}  // namespace Korr::Plim::Trace::Viewer
