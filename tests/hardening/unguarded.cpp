// A program that is linked without care, for the check to find.
int main() { return 0; }
