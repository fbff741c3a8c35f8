// The least that a static program costs: what the kernel and the C library do for any program.

int main(void) { return 0; }
