#include <trelis/trelis.h>

#include <iostream>

int main() {
    MMatrix matrix;
    matrix.Scale(2.0);
    std::cout << matrix.Det() << '\n';
}
