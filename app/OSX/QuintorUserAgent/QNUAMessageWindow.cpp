#include "app/OSX/QuintorUserAgent/QNUAMessageWindow.h"

#include <cmath>

#include "platform/Backend.h"

namespace qn::app::osx::qnuapp {

using namespace platform;

namespace {
double trunc(double value) {
    return std::trunc(value);
}
}  // namespace

std::unique_ptr<QNUAMessageWindow> QNUAMessageWindow::initWithContentRect_styleMask_backing_defer(
    NSRect contentRect, std::uint32_t, std::uint32_t backing, bool defer) {
    const auto ref =
        appKit().initWithContentRect(contentRect, NSBorderlessWindowMask, backing, defer);
    if (ref == 0) {
        return nullptr;
    }
    std::unique_ptr<QNUAMessageWindow> self(new QNUAMessageWindow(ref));
    auto& kit = appKit();
    kit.setBackgroundColor(ref, NSColor::clearColor());
    kit.setAlphaValue(ref, 1.0);
    kit.setOpaque(ref, false);
    kit.setHasShadow(ref, true);
    kit.setMovableByWindowBackground(ref, true);
    self->m_forceDisplay = false;
    kit.setBackgroundColor(ref, self->sizedWindowBackground());
    self->setTitle("");
    return self;
}

void QNUAMessageWindow::setMessage_withHeight(const NSAttributedString& message, float height) {
    m_message = message;
    m_textHeight = height;
}

void QNUAMessageWindow::awakeFromNib() {
    addTextMessageField();
    addQNIcon();
}

void QNUAMessageWindow::addTextMessageField() {
    const double windowHeight = appKit().frame(m_window).size.height;
    NSViewSpec field;
    field.kind = NSViewSpec::Kind::TextField;
    field.frame =
        CGRectMake(kTextLeft, 0.5 * windowHeight - 0.5 * m_textHeight, kTextWidth, m_textHeight);
    field.properties.set("editable", Value::boolean(false));
    field.properties.set("textColor", colorValue(NSColor::blackColor()));
    field.properties.set("drawsBackground", Value::boolean(false));
    field.properties.set("bordered", Value::boolean(false));
    field.properties.set("alignment", Value::number(std::int64_t{NSCenterTextAlignment}));
    field.properties.set("attributedStringValue", m_message.toValue());
    appKit().addSubview(m_window, std::move(field));
}

void QNUAMessageWindow::addQNIcon() {
    const double windowHeight = appKit().frame(m_window).size.height;
    NSViewSpec button;
    button.kind = NSViewSpec::Kind::Button;
    button.frame = CGRectMake(kIconLeft, windowHeight - kIconHeight, kIconWidth, kIconHeight);
    button.properties.set("buttonType", Value::number(std::int64_t{5}));  // momentary change
    button.properties.set("bordered", Value::boolean(false));
    button.properties.set("imageNamed", Value::string("qnicon"));
    button.properties.set("title", Value::string(""));
    button.properties.set("imagePosition", Value::number(std::int64_t{4}));  // image below
    button.properties.set("focusRingType", Value::number(std::int64_t{1}));  // none
    button.properties.set("action", Value::string("orderOut:"));
    // The target is this window; the host's window outlives any click on it.
    const auto window = m_window;
    button.action = [window] { appKit().orderOut(window); };
    appKit().addSubview(m_window, std::move(button));
}

NSColor QNUAMessageWindow::sizedWindowBackground() {
    auto& kit = appKit();
    const auto image = kit.initWithSize(kit.frame(m_window).size);
    kit.lockFocus(image);

    NSSize size = kit.size(image);
    double b = size.height - kTitleStripHeight;
    const double mx = trunc(0.5 * size.width);
    const double my = trunc(0.5 * b);
    const double rx = trunc(size.width);
    const double ry = trunc(b);
    // Round lower corners, square upper ones: the title strip sits on top.
    NSBezierPath body;
    body.moveToPoint({mx, 0});
    body.appendBezierPathWithArcFromPoint({rx, 0}, {rx, my}, kCornerRadius);
    body.lineToPoint({rx, ry});
    body.lineToPoint({0, ry});
    body.appendBezierPathWithArcFromPoint({0, ry}, {0, my}, kCornerRadius);
    body.appendBezierPathWithArcFromPoint({0, 0}, {mx, 0}, kCornerRadius);
    body.closePath();
    const auto panel = NSColor::colorWithCalibratedWhite(kPanelWhite, kPanelAlpha);
    kit.fill(body, panel);

    size = kit.size(image);
    b = size.height - kTitleStripHeight;
    const double tb = trunc(b);
    const double trx = trunc(size.width);
    const double tmx = trunc(0.5 * size.width);
    const double tt = trunc(b + kTitleStripHeight);
    NSBezierPath strip;
    strip.moveToPoint({0, tb});
    strip.lineToPoint({trx, tb});
    strip.appendBezierPathWithArcFromPoint({trx, tt}, {tmx, tt}, kCornerRadius);
    strip.appendBezierPathWithArcFromPoint({0, tt}, {0, tb}, kCornerRadius);
    strip.closePath();
    kit.fill(strip, panel);

    const NSFont font{kit.systemFontSizeForControlSize(0), true};
    Value attributes = Value::dictionary();
    attributes.set(NSFontAttributeName, fontValue(font));
    attributes.set(NSForegroundColorAttributeName, colorValue(NSColor::blackColor()));
    attributes.set(NSParagraphStyleAttributeName,
                   paragraphStyleValue(NSCenterTextAlignment, NSLineBreakByTruncatingTail));
    const std::string title = m_title;
    const double th = kit.sizeWithAttributes(title, font).height;
    const NSRect strip19 = CGRectMake(0, b, size.width, kTitleStripHeight);
    const double dy = (kTitleStripHeight - th) * 0.5;
    const NSRect titleRect =
        CGRectMake(strip19.origin.x + kTitleStripHeight, strip19.origin.y + dy,
                   strip19.size.width - 2 * kTitleStripHeight, strip19.size.height - 2 * dy);
    kit.drawInRect(title, titleRect, attributes);

    kit.unlockFocus(image);
    return NSColor::colorWithPatternImage(image);
}

void QNUAMessageWindow::setTitle(const std::string& title) {
    m_title = title;
    appKit().setTitle(m_window, title);
    windowDidResize();
}

void QNUAMessageWindow::windowDidResize() {
    appKit().setBackgroundColor(m_window, sizedWindowBackground());
    if (m_forceDisplay) {
        appKit().display(m_window);
    }
}

void QNUAMessageWindow::setFrame_display_animate(NSRect frame, bool display, bool animate) {
    m_forceDisplay = true;
    const auto before = appKit().frame(m_window).size;
    appKit().setFrame(m_window, frame, display, animate);
    // The resize notification arrives inside the inherited call.
    if (before.width != frame.size.width || before.height != frame.size.height) {
        windowDidResize();
    }
    m_forceDisplay = false;
}

void QNUAMessageWindow::orderFront() {
    appKit().orderFront(m_window);
}

void QNUAMessageWindow::orderOut() {
    appKit().orderOut(m_window);
}

void QNUAMessageWindow::close() {
    appKit().close(m_window);
}

}  // namespace qn::app::osx::qnuapp
