// SPDX-License-Identifier: MIT

#include "db/client_library.h"

#include <dlfcn.h>
#include <memory>

namespace {

struct close_library {
    void operator()(void* library) const noexcept { dlclose(library); }
};
using library_handle = std::unique_ptr<void, close_library>;

/* Looks `name` up in `scope` if `function` is null. Returns whether `function` is set then. */
template <typename Function> bool find(void* scope, const char* name, Function*& function) {
    if (function == nullptr) {
        function = reinterpret_cast<Function*>(dlsym(scope, name));
    }
    return function != nullptr;
}

/* Looks up all null members except `options`. Returns whether they are all set then. */
bool find_functions(void* scope, client_library& functions) {
    bool is_complete = find(scope, "mysql_close", functions.close);
    is_complete &= find(scope, "mysql_errno", functions.error_number);
    is_complete &= find(scope, "mysql_error", functions.error_text);
    is_complete &= find(scope, "mysql_fetch_fields", functions.fetch_fields);
    is_complete &= find(scope, "mysql_fetch_lengths", functions.fetch_lengths);
    is_complete &= find(scope, "mysql_fetch_row", functions.fetch_row);
    is_complete &= find(scope, "mysql_free_result", functions.free_result);
    is_complete &= find(scope, "mysql_init", functions.init);
    is_complete &= find(scope, "mysql_num_fields", functions.num_fields);
    is_complete &= find(scope, "mysql_query", functions.query);
    is_complete &= find(scope, "mysql_real_connect", functions.real_connect);
    is_complete &= find(scope, "mysql_real_escape_string", functions.real_escape_string);
    is_complete &= find(scope, "mysql_real_query", functions.real_query);
    is_complete &= find(scope, "mysql_store_result", functions.store_result);
    return is_complete;
}

} // namespace

int load_client_library(client_library* functions) {
    client_library found = {};
    // Before the library is loaded, only a preloaded one has such functions.
    find_functions(RTLD_DEFAULT, found);
    find(RTLD_DEFAULT, "mysql_options", found.options);
    const bool has_preloaded_handles = found.init != nullptr;
    library_handle library(dlopen(KELDO_CLIENT_LIBRARY, RTLD_NOW | RTLD_GLOBAL));
    if (!library || !find_functions(library.get(), found)) {
        return -1;
    }
    // A preloaded library may lack mysql_options; never pass its handle to the real one.
    if (!has_preloaded_handles) {
        find(library.get(), "mysql_options", found.options);
    }
    *functions = found;
    static_cast<void>(library.release());
    return 0;
}
