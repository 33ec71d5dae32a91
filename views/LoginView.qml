// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
import QtQuick
import QtQuick.Layouts
import Quillstep.Views

Rectangle {
    id: root

    required property LoginForm model
    required property WindowActions actions

    Keys.onEnterPressed: root.model.performLogin()
    Keys.onReturnPressed: root.model.performLogin()
    color: Colors.velomiraBackgroundLight
    height: column.implicitHeight + 48
    width: 360

    WindowShortcuts {
        actions: root.actions
        closesByEscape: true
    }
    Connections {
        target: root.model

        function onFocusedFieldChanged() {
            if (root.model.focusedField === LoginForm.Email)
                email.forceActiveFocus();
            else if (root.model.focusedField === LoginForm.Password)
                password.forceActiveFocus();
        }
    }
    ColumnLayout {
        id: column

        anchors.left: parent.left
        anchors.margins: 24
        anchors.right: parent.right
        anchors.top: parent.top
        spacing: 20

        Logo {
            Layout.alignment: Qt.AlignHCenter
            Layout.bottomMargin: 6
            fallbackColor: Colors.velomiraBlue
            size: 40
            visible: DesktopStyle.hasLogo
        }
        StyledText {
            Layout.alignment: Qt.AlignHCenter
            Layout.bottomMargin: 6
            color: Colors.velomiraBlue
            font: TextStyles.titleBold
            text: "Velomira"
            visible: !DesktopStyle.hasLogo
        }
        StyledText {
            Layout.alignment: Qt.AlignHCenter
            color: Colors.velomiraGray1
            font: TextStyles.headline
            text: qsTr("Usage Monitor")
        }
        ColumnLayout {
            Layout.fillWidth: true
            Layout.margins: 8
            spacing: 4

            Repeater {
                model: [qsTr("No personal information is collected."), qsTr("All data is encrypted on secure servers."), qsTr("This tool only records app names, window titles, and duration of use.")]

                StyledText {
                    required property string modelData

                    Layout.fillWidth: true
                    color: Colors.velomiraGray2
                    font: TextStyles.caption
                    horizontalAlignment: Text.AlignHCenter
                    text: modelData
                    wrapMode: Text.Wrap
                }
            }
        }
        ColumnLayout {
            spacing: 12

            InputField {
                id: email

                Layout.fillWidth: true
                inputMethodHints: Qt.ImhEmailCharactersOnly | Qt.ImhNoAutoUppercase
                placeholderText: qsTr("Email")
                text: root.model.email

                onActiveFocusChanged: {
                    if (activeFocus)
                        root.model.focusedField = LoginForm.Email;
                }
                onSubmitted: root.model.submitEmail()
                onTextChanged: root.model.email = text
            }
            SecureField {
                id: password

                Layout.fillWidth: true
                placeholderText: qsTr("Password")
                text: root.model.password

                onActiveFocusChanged: {
                    if (activeFocus)
                        root.model.focusedField = LoginForm.Password;
                }
                onSubmitted: root.model.performLogin()
                onTextChanged: root.model.password = text
            }
        }
        ErrorBox {
            Layout.fillWidth: true
            message: root.model.errorMessage
            visible: message.length > 0
        }
        ActionButton {
            Layout.fillWidth: true
            enabled: root.model.canSubmit
            isBusy: root.model.isLoading
            text: root.model.isLoading ? qsTr("Signing In...") : qsTr("Sign In")
            verticalPadding: 8

            onClicked: root.model.performLogin()
        }
        GridLayout {
            Layout.alignment: Qt.AlignHCenter
            Layout.topMargin: 8
            columnSpacing: 4
            columns: question.implicitWidth + 4 + link.implicitWidth <= column.width ? 2 : 1
            rowSpacing: 4

            StyledText {
                id: question

                Layout.alignment: Qt.AlignHCenter
                color: Colors.velomiraGray2
                font: TextStyles.caption
                text: qsTr("Don't have an account?")
            }
            LinkText {
                id: link

                Layout.alignment: Qt.AlignHCenter
                Layout.maximumWidth: column.width
                font: TextStyles.caption
                text: qsTr("Create one at ") + root.model.serviceHost

                onClicked: root.model.openWebSite()
            }
        }
    }
}
