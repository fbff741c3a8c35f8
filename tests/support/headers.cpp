// Only for the headers that are compiled once for all tests.
int main() {}
