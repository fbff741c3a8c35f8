#include <zarnic/conf/autoprepend.h>

#include <cstdio>

int main() { std::puts(zrcConfGetDefaultByIndex(ZRC_CONF_LOGROTATE)); }
