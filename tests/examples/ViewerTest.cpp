#include "OperationPanel.h"
#include "Phantom.h"
#include "ProjectionView.h"
#include "SliceView.h"
#include "ViewerWindow.h"

#include "arvo/binary/ArvoImageBinaryTools.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QDoubleSpinBox>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>

#include <set>

namespace {

using viewer::ViewerWindow;

enum OperationRow { SMOOTHING, BONE, HOLES, DISTANCE, NOISE, GRADIENT };

/// A window on a phantom, driven by mouse and buttons.
class Viewer : public testing::Test {
protected:
    void SetUp() override
    {
        m_window.show();
        open(m_folder.writePhantom({60, 50, 40}));
        ASSERT_TRUE(m_window.subject().volume);
    }

    void open(const QString& path)
    {
        QSignalSpy ended(&m_window, &ViewerWindow::jobFinished);
        m_window.open(path);
        ASSERT_TRUE(ended.wait(60000));
    }

    template <class Widget> Widget* find(const char* name)
    {
        auto* found = m_window.findChild<Widget*>(name);
        EXPECT_NE(found, nullptr) << name;
        return found;
    }
    viewer::SliceView* slice(int i) { return m_window.findChildren<viewer::SliceView*>()[i]; }

    void press(const char* button) { QTest::mouseClick(find<QPushButton>(button), Qt::LeftButton); }

    void choose(OperationRow row) { find<QListWidget>("operations")->setCurrentRow(row); }

    /// Chooses the operation, presses Run and waits for its end.
    void runToTheEnd(OperationRow row)
    {
        QSignalSpy ended(&m_window, &ViewerWindow::jobFinished);
        choose(row);
        press("run");
        ASSERT_TRUE(ended.wait(120000));
    }

    static void drag(QWidget* widget, Qt::MouseButton button, const QPoint& from, const QPoint& to)
    {
        QTest::mousePress(widget, button, {}, from);
        QMouseEvent move(QEvent::MouseMove, to, widget->mapToGlobal(to), Qt::NoButton, button, {});
        QApplication::sendEvent(widget, &move);
        QTest::mouseRelease(widget, button, {}, to);
    }

    static std::size_t coloursIn(const QImage& picture)
    {
        const QImage rgb = picture.convertToFormat(QImage::Format_RGB32);
        const auto* first = reinterpret_cast<const QRgb*>(rgb.constBits());
        return std::set<QRgb>(first, first + rgb.width() * rgb.height()).size();
    }

    TestFolder m_folder;
    ViewerWindow m_window;
};

} // namespace

TEST_F(Viewer, ShowsWhatItOpened)
{
    EXPECT_EQ(m_window.subject().volume->imageSize(), math::Ivec3(60, 50, 40));
    EXPECT_EQ(m_window.position(), math::Ivec3(30, 25, 20));
    EXPECT_TRUE(m_window.windowTitle().startsWith("head.nii"));
    for (int i = 0; i < 3; ++i)
        EXPECT_GT(coloursIn(slice(i)->grab().toImage()), 5u) << i;
    EXPECT_GT(coloursIn(m_window.findChild<viewer::ProjectionView*>()->grab().toImage()), 5u);
}

TEST_F(Viewer, AClickMovesTheCrosshairInAllViews)
{
    const math::Ivec3 target(41, 12, 33);
    QTest::mouseClick(slice(0), Qt::LeftButton, {}, slice(0)->pointOf(target).toPoint());
    EXPECT_EQ(m_window.position(), math::Ivec3(41, 12, 20)); // the axial slice stays
    EXPECT_EQ(slice(1)->slice(), 12);
    EXPECT_EQ(slice(2)->slice(), 41);

    const QPoint from = slice(1)->pointOf({41, 12, 20}).toPoint();
    drag(slice(1), Qt::LeftButton, from, slice(1)->pointOf(target).toPoint());
    EXPECT_EQ(m_window.position(), target);
    EXPECT_EQ(slice(0)->slice(), 33);

    QTest::mouseClick(slice(2), Qt::LeftButton, {}, QPoint(1, 1)); // beside the picture: its nearest voxel
    EXPECT_EQ(m_window.position(), math::Ivec3(41, 0, 39));

    for (const math::Ivec3& voxel : {math::Ivec3(0, 0, 0), {59, 49, 39}, {7, 31, 22}}) {
        m_window.setPosition(voxel);
        for (int i = 0; i < 3; ++i)
            EXPECT_EQ(slice(i)->voxelAt(slice(i)->pointOf(voxel)), voxel) << i;
    }
}

TEST_F(Viewer, DraggingChangesTheWindowOrTurnsTheProjection)
{
    const math::Range<float> before = m_window.window();
    drag(slice(0), Qt::RightButton, {50, 50}, {80, 40}); // wider, and brighter: the level sinks
    const math::Range<float> after = m_window.window();
    EXPECT_GT(after.second - after.first, before.second - before.first);
    EXPECT_LT(after.first + after.second, before.first + before.second);
    drag(slice(0), Qt::RightButton, {300, 50}, {-20000, 40});
    EXPECT_GT(m_window.window().second, m_window.window().first);
    EXPECT_EQ(m_window.position(), math::Ivec3(30, 25, 20));

    auto* projection = m_window.findChild<viewer::ProjectionView*>();
    const QImage facing = projection->grab().toImage();
    drag(projection, Qt::LeftButton, {100, 100}, {140, 100});
    EXPECT_EQ(projection->degrees(), 320.0f);
    EXPECT_NE(projection->grab().toImage(), facing);
}

TEST_F(Viewer, OperationsRunToTheirEnd)
{
    const viewer::Volume read = m_window.subject().volume;
    choose(HOLES);
    EXPECT_FALSE(find<QPushButton>("run")->isEnabled()); // nothing is marked yet

    runToTheEnd(BONE);
    ASSERT_TRUE(m_window.subject().mask);
    EXPECT_TRUE(m_window.message().contains("the largest of ")) << qPrintable(m_window.message());
    const QImage masked = slice(0)->grab().toImage();
    m_window.setMaskVisible(false);
    EXPECT_NE(slice(0)->grab().toImage(), masked);
    m_window.setMaskVisible(true);

    const auto open = ArvoImageBinaryTools::countNonZeroVoxels(*m_window.subject().mask);
    runToTheEnd(HOLES);
    EXPECT_GT(ArvoImageBinaryTools::countNonZeroVoxels(*m_window.subject().mask), open);
    EXPECT_EQ(m_window.subject().volume, read);

    for (const OperationRow row : {SMOOTHING, NOISE, GRADIENT, DISTANCE}) {
        const viewer::Volume before = m_window.subject().volume;
        runToTheEnd(row);
        EXPECT_TRUE(m_window.message().contains(": done")) << qPrintable(m_window.message());
        EXPECT_NE(m_window.subject().volume, before);
        EXPECT_GT(coloursIn(slice(0)->grab().toImage()), 5u) << row;
    }

    m_window.showOriginal();
    EXPECT_EQ(m_window.subject().volume, read);
    EXPECT_FALSE(m_window.subject().mask);
}

TEST_F(Viewer, TheFormKeepsItsValuesAndFitsThresholdsToTheVolume)
{
    auto* panel = m_window.findChild<viewer::OperationPanel*>();
    choose(SMOOTHING);
    panel->findChild<QDoubleSpinBox*>()->setValue(2.5);
    runToTheEnd(SMOOTHING);
    EXPECT_EQ(panel->values(), std::vector<double>{2.5});
    choose(BONE);
    EXPECT_EQ(panel->values(), std::vector<double>{300}); // Hounsfield units
    open(m_folder.writePhantom({30, 30, 30}, image::UInt8));
    EXPECT_EQ(panel->values(), std::vector<double>{110}); // half of 0 to 220
}

TEST_F(Viewer, ACancelledOperationLeavesTheWindowAlive)
{
    open(m_folder.writePhantom({300, 300, 300}));
    runToTheEnd(BONE);
    const viewer::Subject before = m_window.subject();

    QSignalSpy ended(&m_window, &ViewerWindow::jobFinished);
    choose(HOLES);
    press("run");
    EXPECT_FALSE(find<QPushButton>("run")->isEnabled());
    QTest::mouseClick(slice(0), Qt::LeftButton, {}, slice(0)->pointOf({10, 20, 150}).toPoint());
    EXPECT_EQ(m_window.position(), math::Ivec3(10, 20, 150)); // the views work while it runs
    ASSERT_EQ(ended.count(), 0);
    press("cancel");
    ASSERT_TRUE(ended.wait(20000));
    EXPECT_EQ(m_window.message(), "Hole closing: cancelled");
    EXPECT_EQ(m_window.subject().mask, before.mask);
    EXPECT_TRUE(m_window.isVisible());
    EXPECT_TRUE(find<QPushButton>("run")->isEnabled());
}

TEST_F(Viewer, ClosesWhileAnOperationRuns)
{
    auto window = std::make_unique<ViewerWindow>();
    QSignalSpy ended(window.get(), &ViewerWindow::jobFinished);
    window->open(m_folder.writePhantom({200, 200, 200}));
    ASSERT_TRUE(ended.wait(60000));
    window->run(SMOOTHING, {5.0});
    window.reset();
    QTest::qWait(10); // nothing arrives for the window that is gone
}

TEST_F(Viewer, KeepsTheVolumeWhenAnotherCannotBeOpened)
{
    const viewer::Volume before = m_window.subject().volume;
    open(m_folder.write("letter.txt", "Dear reader,\n"));
    EXPECT_TRUE(m_window.message().contains("not an image; taken are")) << qPrintable(m_window.message());
    EXPECT_EQ(m_window.subject().volume, before);
    EXPECT_TRUE(m_window.windowTitle().startsWith("head.nii"));
}

TEST_F(Viewer, SavesAPictureOfTheWindow)
{
    const QString path = m_folder.path("window.png");
    EXPECT_TRUE(m_window.savePicture(path));
    const QImage picture(path);
    EXPECT_EQ(picture.size(), m_window.size() * m_window.devicePixelRatio());
    EXPECT_GT(coloursIn(picture), 50u);
    EXPECT_FALSE(m_window.savePicture(m_folder.path("nowhere/window.png")));
    EXPECT_TRUE(m_window.message().contains("cannot be written"));
}

int main(int argc, char** argv)
{
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    const QApplication application(argc, argv);
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
