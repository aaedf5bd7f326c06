#pragma once

// type_info as the compiler lays out its objects, and its functions, which the C runtime has.
#include <vcruntime_exception.h>

#pragma pack(push, 8)
struct __std_type_info_data {
    const char* _UndecoratedName;
    const char _DecoratedName[1];
};
struct alignas(16) __type_info_node {
    void* first;
    void* next;
};
extern "C" int __std_type_info_compare(const __std_type_info_data* left, const __std_type_info_data* right);
extern "C" size_t __std_type_info_hash(const __std_type_info_data* data);
extern "C" const char* __std_type_info_name(__std_type_info_data* data, __type_info_node* names);
/// The undecorated names that this module's type_infos were asked for.
extern __type_info_node __type_info_root_node;

class type_info {
  public:
    type_info(const type_info&) = delete;
    type_info& operator=(const type_info&) = delete;
    virtual ~type_info() noexcept;
    size_t hash_code() const noexcept { return __std_type_info_hash(&data); }
    bool operator==(const type_info& other) const noexcept {
        return __std_type_info_compare(&data, &other.data) == 0;
    }
    bool before(const type_info& other) const noexcept {
        return __std_type_info_compare(&data, &other.data) < 0;
    }
    const char* name() const noexcept { return __std_type_info_name(&data, &__type_info_root_node); }
    const char* raw_name() const noexcept { return data._DecoratedName; }

  private:
    mutable __std_type_info_data data;
};

namespace std {
using ::type_info;
class bad_cast : public exception {
  public:
    bad_cast() noexcept : exception("bad cast", 1) {}
};
class bad_typeid : public exception {
  public:
    bad_typeid() noexcept : exception("bad typeid", 1) {}
};
}  // namespace std
#pragma pack(pop)
