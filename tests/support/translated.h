#pragma once

// An application that translates every text it is asked for, while it lives.

#include <QCoreApplication>
#include <QTranslator>
#include <gtest/gtest.h>

#include <cerrno>

namespace mz::test {

/// Translates "text" of QObject to "QObject: text". A translator may look into files meanwhile,
/// which leaves an errno of its own.
class Translated {
public:
    explicit Translated(int errnoLeft = 0) : _translator(errnoLeft) {
        EXPECT_TRUE(QCoreApplication::installTranslator(&_translator));
    }
    Translated(const Translated&) = delete;
    Translated& operator=(const Translated&) = delete;
    ~Translated() { QCoreApplication::removeTranslator(&_translator); }

private:
    struct Translator : QTranslator {
        explicit Translator(int errnoLeft) : _errnoLeft(errnoLeft) {}
        QString translate(const char* context, const char* text, const char* /*disambiguation*/,
                          int /*n*/) const override {
            if (_errnoLeft != 0) errno = _errnoLeft;
            return QString::fromUtf8(context) + QStringLiteral(": ") + QString::fromUtf8(text);
        }
        bool isEmpty() const override { return false; }

    private:
        int _errnoLeft;
    };

    int _count = 1;
    char _name[5] = "test";
    char* _arguments[2] = {_name, nullptr};
    QCoreApplication _application{_count, _arguments};
    Translator _translator;
};

}  // namespace mz::test
