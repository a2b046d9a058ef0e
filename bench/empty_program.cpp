// The control of start_bench: a program that does nothing.
int main() { return 0; }
