// The window of the keystroke display: a pill with the caption of the last key, on top of every
// other window, transparent for the pointer and never focused. It only draws; where it sits and
// when it fades is its owner's business. Main thread only.
#pragma once

#include <QFont>
#include <QString>

#include "app/aids/aid_window.h"

namespace scrawlet::aids {

class KeystrokeDisplayPanel : public AidWindow {
    Q_OBJECT

  public:
    KeystrokeDisplayPanel();

    void setSizePoints(double sizePoints);
    double sizePoints() const { return sizePoints_; }
    // Each redraws.
    void setText(const QString& text);
    void setFadeAlpha(double alpha);
    const QString& text() const { return text_; }
    double fadeAlpha() const { return fadeAlpha_; }
    // Width of `text` in the caption's font, in device-independent pixels.
    double captionWidth(const QString& text) const;

  protected:
    void paintEvent(QPaintEvent* event) override;

  private:
    QString text_;
    double sizePoints_ = 28;
    double fadeAlpha_ = 1;
    QFont font_;
};

}  // namespace scrawlet::aids
