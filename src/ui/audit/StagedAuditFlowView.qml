import QtQuick
import QtQuick.Controls
import Tarnwick

// The system audit: the current stage's page, or the closing report, as the model says.
Item {
    id: view
    required property StagedAuditFlowModel model

    objectName: "audit-view"

    // Only while the flow takes its first profile.
    BusyIndicator {
        anchors.centerIn: parent
        visible: view.model.busy
        running: visible
        Accessible.name: view.model.busyText
    }

    Loader {
        id: pageLoader
        anchors.fill: parent

        // The page's model, so that a change elsewhere in the flow does not rebuild the page.
        property QtObject shownModel: null

        function show() {
            const next = view.model.report !== null ? view.model.report : view.model.stage
            if (next === pageLoader.shownModel)
                return
            pageLoader.shownModel = next
            if (next === null)
                setSource("")
            else if (next === view.model.report)
                setSource("FinalReportView.qml", {model: next})
            else
                setSource("AuditStageView.qml", {model: next})
        }
    }

    Component.onCompleted: {
        view.model.changed.connect(pageLoader.show)
        view.model.start()
        pageLoader.show()
    }
}
