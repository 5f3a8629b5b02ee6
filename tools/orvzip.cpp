// orvzip.cpp: in progress.
int main() { return 2; }
