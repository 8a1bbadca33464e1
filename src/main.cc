// The program's entry.

int main() {
  return 0;
}
