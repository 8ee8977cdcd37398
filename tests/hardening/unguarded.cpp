// A program that is linked without protections, which the check must report.
int main() { return 0; }
