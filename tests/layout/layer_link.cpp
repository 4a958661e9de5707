// Linked with one part of the host and the parts below it only: the link fails when a part
// calls up the layers.
int main() {
    return 0;
}
