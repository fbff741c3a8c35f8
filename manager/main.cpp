#include "manager/front_end.h"

int main(int argc, char** argv) { return runCommandLine(argc, argv); }
