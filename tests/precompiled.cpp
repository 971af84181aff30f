// The program that the precompiled headers of the tests belong to.
int main() { return 0; }
