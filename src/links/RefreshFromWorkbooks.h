// The workbook half of the update command.
#pragma once

// Reads every workbook link's cell and applies it. Does nothing until workbook links are in.
void refreshFromWorkbooks();
