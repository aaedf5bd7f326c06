#pragma once

// std::exception and what the language itself throws, member for member as the platform's C++ runtime has
// them: objects of these classes cross between modules.
#include <stddef.h>

#pragma pack(push, 8)
struct __std_exception_data {
    const char* _What;
    bool _DoFree;
};
extern "C" void __std_exception_copy(const __std_exception_data* from, __std_exception_data* to);
extern "C" void __std_exception_destroy(__std_exception_data* data);

namespace std {

class exception {
  public:
    exception() noexcept : data() {}
    explicit exception(const char* message) noexcept : data() {
        const __std_exception_data given = {message, true};
        __std_exception_copy(&given, &data);
    }
    exception(const char* literal, int) noexcept : data{literal, false} {}
    exception(const exception& other) noexcept : data() { __std_exception_copy(&other.data, &data); }
    exception& operator=(const exception& other) noexcept {
        if (this == &other) return *this;
        __std_exception_destroy(&data);
        __std_exception_copy(&other.data, &data);
        return *this;
    }
    virtual ~exception() noexcept { __std_exception_destroy(&data); }
    virtual const char* what() const { return data._What != nullptr ? data._What : "Unknown exception"; }

  private:
    __std_exception_data data;
};

class bad_exception : public exception {
  public:
    bad_exception() noexcept : exception("bad exception", 1) {}
};

class bad_alloc : public exception {
  public:
    bad_alloc() noexcept : exception("bad allocation", 1) {}

  private:
    friend class bad_array_new_length;
    explicit bad_alloc(const char* literal) noexcept : exception(literal, 1) {}
};

class bad_array_new_length : public bad_alloc {
  public:
    bad_array_new_length() noexcept : bad_alloc("bad array new length") {}
};

}  // namespace std
#pragma pack(pop)
