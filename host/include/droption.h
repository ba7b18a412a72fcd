// The option parser of the framework's clients. Options are declared as objects of
// droption_t<T>; a client that declares none accepts only "--", which ends the list.
#pragma once

#include <string>

enum droption_scope_t {
    DROPTION_SCOPE_CLIENT = 0x0001,
    DROPTION_SCOPE_FRONTEND = 0x0002,
    DROPTION_SCOPE_ALL = DROPTION_SCOPE_CLIENT | DROPTION_SCOPE_FRONTEND,
};

class droption_parser_t {
public:
    // Parses argv[1] to argv[argc-1]. False, with "Unknown option: <arg>" in error_msg, at the
    // first argument that no declared option takes. last_index gets the index where parsing stopped.
    static bool parse_argv(unsigned int scope, int argc, const char* argv[], std::string* error_msg, int* last_index);
};
