// The exchange as a plugin: a function for those who load it.

#define main exchangeProgram
#include "exchange.cpp"

extern "C" int exchange(char* endpoint)
{
    char name[] = "plugin";
    char* arguments[] = {name, endpoint, nullptr};
    return exchangeProgram(2, arguments);
}
