/* Exits 0 when this machine can execute a program of the build's target. */
int main(void) { return 0; }
