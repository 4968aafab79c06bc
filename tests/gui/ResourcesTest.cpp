// The icons the code names must be compiled in, at the size the window lays them out for, with a
// sharp variant for high-DPI screens; and the desktop needs the application and file-type icons at
// every size it asks for. A literal that names a missing icon only shows as an empty space in a
// menu, so this test reads the sources and checks every literal it finds.

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QGuiApplication>
#include <QIcon>
#include <QImage>
#include <QRegularExpression>
#include <QSet>
#include <QTest>

#include "QtTestSupport.h"

using namespace testing_support;

namespace {

const QString sourceDir = QStringLiteral(HALVOREN_SOURCE_DIR);
const QString iconPrefix = QStringLiteral(":/ico/MainWindow/Res/");
const int iconSize = 32;

// Every icon path literal in `text`, each once, in order of appearance.
QStringList iconLiterals(const QString& text)
{
    static const QRegularExpression literal(QStringLiteral(":/ico/MainWindow/Res/[^\"'<>\\s]+?\\.png"));
    QStringList found;
    for (auto it = literal.globalMatch(text); it.hasNext();) {
        const QString path = it.next().captured();
        if (!found.contains(path))
            found.append(path);
    }
    return found;
}

// The literals of the program's code and forms, each with the first file that names it.
QList<QPair<QString, QString>> scanSources()
{
    QList<QPair<QString, QString>> result;
    QSet<QString> seen;
    for (const QString& folder : { QStringLiteral("src"), QStringLiteral("forms") }) {
        QDirIterator files(
            sourceDir + '/' + folder, { "*.cpp", "*.h", "*.ui" }, QDir::Files, QDirIterator::Subdirectories);
        while (files.hasNext()) {
            const QString path = files.next();
            QFile file(path);
            if (!file.open(QIODevice::ReadOnly))
                continue;
            for (const QString& literal : iconLiterals(QString::fromUtf8(file.readAll()))) {
                if (!seen.contains(literal)) {
                    seen.insert(literal);
                    result.append({ literal, QDir(sourceDir).relativeFilePath(path) });
                }
            }
        }
    }
    return result;
}

// An image that is all transparent or all opaque is a failed render or a lost alpha channel.
QString drawingProblem(const QImage& image)
{
    const QImage argb = image.convertToFormat(QImage::Format_ARGB32);
    qsizetype transparent = 0;
    qsizetype drawn = 0;
    for (int y = 0; y < argb.height(); ++y) {
        const auto* line = reinterpret_cast<const QRgb*>(argb.constScanLine(y));
        for (int x = 0; x < argb.width(); ++x) {
            if (qAlpha(line[x]) == 0)
                ++transparent;
            else if (qAlpha(line[x]) == 255)
                ++drawn;
        }
    }
    const qsizetype area = qsizetype(argb.width()) * argb.height();
    if (drawn < area / 10)
        return QStringLiteral("almost nothing drawn");
    if (transparent == 0)
        return QStringLiteral("no transparent background");
    return {};
}

} // namespace

class ResourcesTest : public QObject {
    Q_OBJECT

private slots:
    void namedIconLoads_data()
    {
        QTest::addColumn<QString>("path");
        const auto literals = scanSources();
        // A scan that finds nothing would pass every icon unseen.
        QVERIFY2(literals.size() >= 15, qPrintable(QString("only %1 icon literals found").arg(literals.size())));
        for (const auto& [literal, file] : literals)
            QTest::newRow(qPrintable(literal + " in " + file)) << literal;
    }

    void namedIconLoads()
    {
        QFETCH(QString, path);
        QVERIFY2(QFile::exists(path), "not in the compiled resources; is it listed in res/halvoren.qrc?");

        const QImage normal(path);
        QVERIFY2(!normal.isNull(), "does not load as an image");
        QCOMPARE(normal.size(), QSize(iconSize, iconSize));
        const QString normalProblem = drawingProblem(normal);
        QVERIFY2(normalProblem.isEmpty(), qPrintable(normalProblem));

        const QString sharpPath = path.chopped(4) + "@2x.png";
        const QImage sharp(sharpPath);
        QVERIFY2(!sharp.isNull(), qPrintable(sharpPath + " is missing"));
        QCOMPARE(sharp.size(), QSize(2 * iconSize, 2 * iconSize));
        const QString sharpProblem = drawingProblem(sharp);
        QVERIFY2(sharpProblem.isEmpty(), qPrintable(sharpProblem));

        // On a screen at twice the density the icon must come from the @2x file, not be blown up.
        const QIcon icon(path);
        QVERIFY(!icon.isNull());
        const QImage onHighDpi = icon.pixmap(QSize(iconSize, iconSize), 2.0).toImage();
        QCOMPARE(onHighDpi.size(), sharp.size());
        QVERIFY2(onHighDpi.convertToFormat(QImage::Format_ARGB32_Premultiplied)
                == sharp.convertToFormat(QImage::Format_ARGB32_Premultiplied),
            "the high-DPI pixmap is not the @2x file");
    }

    // A PNG without its SVG can't be redrawn; one left out of the .qrc can't be shown.
    void everyIconHasSourceAndResource()
    {
        const QDir pngDir(sourceDir + "/res/Res");
        const QDir svgDir(sourceDir + "/res/svg");
        const QStringList svgs = svgDir.entryList({ "*.svg" }, QDir::Files);
        QVERIFY2(svgs.size() >= 21, qPrintable(QString("only %1 SVG sources in res/svg").arg(svgs.size())));

        for (const QString& svg : svgs) {
            const QString name = QFileInfo(svg).completeBaseName();
            for (const QString& png : { name + ".png", name + "@2x.png" })
                QVERIFY2(pngDir.exists(png), qPrintable("no res/Res/" + png + " for res/svg/" + svg));
        }
        for (const QString& png : pngDir.entryList({ "*.png" }, QDir::Files)) {
            const QString name = QFileInfo(png).completeBaseName().remove(QRegularExpression("@2x$"));
            QVERIFY2(svgDir.exists(name + ".svg"), qPrintable("res/Res/" + png + " has no SVG source"));
            QVERIFY2(QFile::exists(iconPrefix + png), qPrintable("res/Res/" + png + " is not in res/halvoren.qrc"));
        }
    }

    void desktopIconsAtEverySize()
    {
        const QString hicolor = sourceDir + "/packaging/icons/hicolor/";
        const QStringList icons { "apps/halvoren", "mimetypes/application-x-halvoren-package",
            "mimetypes/application-x-halvoren-key" };
        for (const QString& icon : icons) {
            for (int size : { 16, 22, 24, 32, 48, 64, 128, 256 }) {
                const QString path = hicolor + QString("%1x%1/").arg(size) + icon + ".png";
                const QImage image(path);
                QVERIFY2(!image.isNull(), qPrintable(path + " is missing or unreadable"));
                QCOMPARE(image.size(), QSize(size, size));
                const QString problem = drawingProblem(image);
                QVERIFY2(problem.isEmpty(), qPrintable(path + ": " + problem));
            }
            QFile scalable(hicolor + "scalable/" + icon + ".svg");
            QVERIFY2(scalable.open(QIODevice::ReadOnly), qPrintable(scalable.fileName() + " is missing"));
            QVERIFY2(scalable.readAll().contains("<svg"), qPrintable(scalable.fileName() + " is not an SVG"));
        }

        // The desktop shows the same mark as the About box and the tray.
        QFile app(hicolor + "scalable/apps/halvoren.svg");
        QFile mark(sourceDir + "/res/svg/keyandlock.svg");
        QVERIFY(app.open(QIODevice::ReadOnly));
        QVERIFY(mark.open(QIODevice::ReadOnly));
        QVERIFY2(app.readAll() == mark.readAll(), "halvoren.svg differs from keyandlock.svg; run res/make-icons");
    }
};

int main(int argc, char** argv)
{
    // The resources live in the static GUI library; nothing else pulls them into this program.
    Q_INIT_RESOURCE(halvoren);
    // QIcon looks for @2x files only when the screen calls for them, so pretend a high-DPI screen.
    qputenv("QT_SCALE_FACTOR", "2");
    return runQtTest<ResourcesTest, QGuiApplication>(argc, argv);
}

#include "ResourcesTest.moc"
