#pragma once

// An application that translates every text it is asked for, while it lives.

#include <QCoreApplication>
#include <QTranslator>
#include <gtest/gtest.h>

namespace mz::test {

/// Translates "text" of QObject to "QObject: text".
class Translated {
public:
    Translated() { EXPECT_TRUE(QCoreApplication::installTranslator(&_translator)); }
    Translated(Translated const&) = delete;
    Translated& operator=(Translated const&) = delete;
    ~Translated() { QCoreApplication::removeTranslator(&_translator); }

private:
    struct Translator : QTranslator {
        QString translate(const char* context, const char* text, const char* /*disambiguation*/,
                          int /*n*/) const override {
            return QString::fromUtf8(context) + QStringLiteral(": ") + QString::fromUtf8(text);
        }
        bool isEmpty() const override { return false; }
    };

    int _count = 1;
    char _name[5] = "test";
    char* _arguments[2] = {_name, nullptr};
    QCoreApplication _application{_count, _arguments};
    Translator _translator;
};

}  // namespace mz::test
