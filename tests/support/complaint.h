#ifndef PELTA_TESTS_COMPLAINT_H
#define PELTA_TESTS_COMPLAINT_H

#include <string>

/* What an action says that fails with an Error; empty when it does not fail. */
template <class Error, class Action>
std::string complaintOf(const Action& action) {
    try {
        action();
    } catch (const Error& error) { return error.what(); }
    return "";
}

#endif
