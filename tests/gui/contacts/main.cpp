// The contact widgets' tests: details dialog, the two lists with their action managers, key files
// and the quick search box, each in a fresh profile of a private sandbox.

#include <QApplication>
#include <QTest>

#include "ContactsFixture.h"
#include "Sandbox.h"

int main(int argc, char** argv)
{
    if (!testing_support::enterSandbox())
        return 2;
    int result = 0;
    {
        QApplication app(argc, argv);
        for (auto make : { makeDetailsDialogTest, makeContactListsTest, makeSearchBoxTest }) {
            const std::unique_ptr<QObject> test = make();
            result |= QTest::qExec(test.get(), argc, argv);
        }
    }
    testing_support::leaveSandbox();
    return result;
}
