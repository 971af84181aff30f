#include "kovadata/guarded.h"
#include "kovadata/interface_family.h"
#include "kovadata/kova.h"
#include "sys/parallel_runtime.h"

// What concerns the process or the thread and no analysis.
uint32_t kova_get_last_error_string(char* buf, uint32_t len) {
    return lumo::io::uncancelled(
        [&] { return lumo::io::LastError<lumo::io::KovaInterface>::copyTo(buf, len); });
}

void kova_set_num_threads(uint32_t n) {
    lumo::io::uncancelled([&] { lumo::sys::setNumberOfThreads(n); });
}
