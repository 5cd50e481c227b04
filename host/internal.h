// Shared between the host's translation units; not part of the API.
#ifndef KAV_HOST_INTERNAL_H
#define KAV_HOST_INTERNAL_H

#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "kavhost.h"

namespace kav::host {

struct Module::Impl {
    std::string path;
    void *handle = nullptr;
    std::vector<Row> rows;
    std::unordered_map<std::string_view, std::size_t> by_signature;  // keys live in rows
    std::unordered_map<std::string_view, std::vector<const Row *>> by_name;  // in table order
    std::vector<Constant> constants;
    std::vector<TypePtr> types;
    std::vector<SlotCall> slot_calls;
    std::vector<std::string> problems;
    int32_t properties_result = 0;
    int32_t exports_result = 0;
    std::vector<CallbackEntry> callbacks;

    // Registration data as copied during the entry point, read afterwards.
    struct RawRow {
        std::string signature, return_type;
        int32_t reserved;
        KavProc routine;
    };
    std::vector<RawRow> raw_rows;
    std::string type_script;
};

// The one runtime interface: its slots serve whichever call is in progress,
// so every module (and every load of one) gets the same table.
RuntimeInterface *host_runtime();

// Shortest decimal that reads back to the same value, "1.0" rather than "1".
std::string shortest(float v);
std::string shortest(double v);

}  // namespace kav::host

#endif  // KAV_HOST_INTERNAL_H
