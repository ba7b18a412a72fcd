// Does nothing: sve-run's start-up (qemu, the host layer, the client, the trace library).
int main(void) { return 0; }
