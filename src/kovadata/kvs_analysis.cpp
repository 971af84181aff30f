#include "kovadata/handle.h"
#include "kovadata/kvs.h"
#include "kovadata/kvs_instance.h"
#include "sys/parallel_runtime.h"

// Opening and closing of analyses without mobility, and what concerns the process.
using lumo::io::KvsInstance;

uint64_t kvs_open(const char* analysis_directory_name, uint32_t use_recalibrated_state) {
    return lumo::io::openInstance<KvsInstance>(analysis_directory_name, use_recalibrated_state,
                                               lumo::io::stateFor(use_recalibrated_state));
}

void kvs_close(uint64_t handle) { lumo::io::closeInstance<KvsInstance>(handle); }

uint32_t kvs_get_last_error_string(char* buf, uint32_t len) {
    return lumo::io::uncancelled(
        [&] { return lumo::io::LastError<lumo::io::KvsInterface>::copyTo(buf, len); });
}

// Deliberate: constant, the handle is not looked at.
uint32_t kvs_has_recalibrated_state(uint64_t /*handle*/) { return 0; }

// One number for both families and all handles: the threads are the library's.
void kvs_set_num_threads(uint32_t n) {
    lumo::io::uncancelled([&] { lumo::sys::setNumberOfThreads(n); });
}
