// Runs a function that has the name of one of the probe.

void RunByTheTwin() {
    return;
}

int main() {
    RunByTheTwin();
    return 0;
}
