#include "OsLayer.h"

// The results are not looked at: with a section used in its order none of these calls can fail.

void OS_InitializeGuardedCodeSection(pthread_mutex_t* section) {
    pthread_mutex_init(section, nullptr);
}

void OS_EnterGuardedCodeSection(pthread_mutex_t* section) {
    pthread_mutex_lock(section);
}

void OS_LeaveGuardedCodeSection(pthread_mutex_t* section) {
    pthread_mutex_unlock(section);
}

void OS_DeleteGuardedCodeSection(pthread_mutex_t* section) {
    pthread_mutex_destroy(section);
}
