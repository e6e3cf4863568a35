// A form with the same widgets in GTK 3.
#include <gtk/gtk.h>

#include <cstdlib>
#include <initializer_list>
#include <string>
#include <vector>

// Of the preloaded library that measures; absent in a plain run.
extern "C" __attribute__((weak)) void BenchFirstFrame();

namespace {

constexpr int kWidth = 700;
constexpr int kHeight = 450;

GtkGrid* AddGroup(GtkBox* column, const char* title) {
    GtkWidget* frame = gtk_frame_new(title);
    GtkWidget* grid = gtk_grid_new();
    gtk_grid_set_row_spacing(GTK_GRID(grid), 4);
    gtk_grid_set_column_spacing(GTK_GRID(grid), 4);
    gtk_container_add(GTK_CONTAINER(frame), grid);
    gtk_box_pack_start(column, frame, TRUE, TRUE, 2);
    return GTK_GRID(grid);
}

void AddRow(GtkGrid* grid, int row, const char* label, std::initializer_list<GtkWidget*> widgets) {
    gtk_grid_attach(grid, gtk_label_new(label), 0, row, 1, 1);
    int place = 1;
    for (GtkWidget* widget : widgets) {
        gtk_widget_set_hexpand(widget, TRUE);
        gtk_grid_attach(grid, widget, place++, row, 1, 1);
    }
}

GtkWidget* NewCombo(const std::vector<std::string>& items) {
    GtkWidget* combo = gtk_combo_box_text_new();
    for (const std::string& item : items) {
        gtk_combo_box_text_append_text(GTK_COMBO_BOX_TEXT(combo), item.c_str());
    }
    gtk_combo_box_set_active(GTK_COMBO_BOX(combo), 0);
    return combo;
}

void FillForm(GtkBox* column) {
    GtkGrid* topology = AddGroup(column, "Recording system topology");
    GtkWidget* name = gtk_entry_new();
    gtk_entry_set_text(GTK_ENTRY(name), "The Recorder");
    AddRow(topology, 0, "The Recording System name:", {name});
    AddRow(topology, 1,
           "The number of the Recorders in the system:", {NewCombo({"1", "2", "3", "4", "5", "6", "7", "8"})});
    AddRow(topology, 2, "This Recorder ID:", {NewCombo({"1", "2"})});

    GtkGrid* storage = AddGroup(column, "Storage");
    AddRow(storage, 0, "Recording drives:", {gtk_label_new("/mnt/record-a"), gtk_button_new_with_label("Select")});
    AddRow(storage, 1, "Path to General Storage:", {NewCombo({"/mnt/general", "/mnt/record-a", "/mnt/record-b"})});

    GtkGrid* service = AddGroup(column, "Service control");
    AddRow(service, 0, "Run server at system start:", {gtk_check_button_new_with_label("Yes")});

    GtkWidget* buttons = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 4);
    for (const char* label : {"Apply", "Cancel"}) {
        gtk_box_pack_start(GTK_BOX(buttons), gtk_button_new_with_label(label), TRUE, TRUE, 2);
    }
    gtk_box_pack_start(column, buttons, FALSE, FALSE, 2);
}

void AfterPaint(GdkFrameClock* /*clock*/, gpointer /*unused*/) {
    gdk_display_sync(gdk_display_get_default());
    if (BenchFirstFrame != nullptr) {
        BenchFirstFrame();
    }
    gtk_main_quit();
}

}  // namespace

int main(int argc, char** argv) {
    gtk_init(&argc, &argv);
    GtkWidget* window = gtk_window_new(GTK_WINDOW_TOPLEVEL);
    gtk_window_set_title(GTK_WINDOW(window), "Vesmara");
    gtk_window_set_default_size(GTK_WINDOW(window), kWidth, kHeight);
    GtkWidget* column = gtk_box_new(GTK_ORIENTATION_VERTICAL, 4);
    gtk_container_add(GTK_CONTAINER(window), column);
    FillForm(GTK_BOX(column));
    gtk_widget_show_all(window);
    g_signal_connect(gtk_widget_get_frame_clock(window), "after-paint", G_CALLBACK(AfterPaint), nullptr);
    gtk_main();
    return EXIT_SUCCESS;
}
