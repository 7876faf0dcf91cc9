#include "wire/bus_name.h"

#include <cstdio>
#include <cstring>

namespace orvi_bus {

namespace {

bool IsPlain(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' || c == '-' ||
           c == '.';
}

}  // namespace

bool IsName(const char* name) {
    if (name == nullptr) {
        return false;
    }
    const size_t length = strnlen(name, OS_MSG_NAME_SIZE);
    return length > 0 && length < OS_MSG_NAME_SIZE;
}

void SetName(char (&field)[OS_MSG_NAME_SIZE], const char* name) {
    memset(field, 0, sizeof(field));
    memcpy(field, name, strnlen(name, OS_MSG_NAME_SIZE - 1));
}

std::string EncodeName(const char* name) {
    std::string encoded;
    for (const char* at = name; *at != '\0'; ++at) {
        if (IsPlain(*at) && !(at == name && *at == '.')) {
            encoded += *at;
        } else {
            char escape[4];
            snprintf(escape, sizeof(escape), "%%%02X", static_cast<unsigned>(static_cast<unsigned char>(*at)));
            encoded += escape;
        }
    }
    return encoded;
}

}  // namespace orvi_bus
