#include <NorqStd.h>

#include <iostream>

int main() {
    norq_std::NorqException::installHandler();
    int* volatile nowhere = nullptr;
    try {
        return *nowhere; // becomes an exception only if the package handed over its compiler switches
    } catch (const norq_std::NorqAccessException& fault) {
        std::cout << fault.getMessage().size() << " units\n";
    }
}
