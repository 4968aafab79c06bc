<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="de_DE">
<context>
    <name>AboutDialog</name>
    <message>
        <source>About Halvoren</source>
        <translation>Über Halvoren</translation>
    </message>
    <message>
        <source>OK</source>
        <translation>OK</translation>
    </message>
    <message>
        <source>Secure Files Sending for Multiple Recipients.</source>
        <translation>Sicherer Dateiversand an mehrere Empfänger.</translation>
    </message>
    <message>
        <source>Visit home page - </source>
        <translation>Startseite besuchen – </translation>
    </message>
    <message>
        <source>Support - </source>
        <translation>Hilfe – </translation>
    </message>
</context>
<context>
    <name>ActionMan</name>
    <message>
        <source>Contact details for %1</source>
        <translation>Kontaktdaten von %1</translation>
    </message>
    <message>
        <source>First Name:</source>
        <translation>Vorname:</translation>
    </message>
    <message>
        <source>Last Name:</source>
        <translation>Nachname:</translation>
    </message>
    <message>
        <source>Organization:</source>
        <translation>Organisation:</translation>
    </message>
    <message>
        <source>Email:</source>
        <translation>E-Mail:</translation>
    </message>
    <message>
        <source>Comments:</source>
        <translation>Kommentare:</translation>
    </message>
</context>
<context>
    <name>AddFilesDialog</name>
    <message>
        <source>Select Files or Folders to Add</source>
        <translation>Dateien oder Ordner zum Hinzufügen auswählen</translation>
    </message>
    <message>
        <source>Files and folders</source>
        <translation>Dateien und Ordner</translation>
    </message>
    <message>
        <source>Space marks or unmarks the current item; Shift with an arrow marks the rows passed</source>
        <translation>Leertaste markiert das aktuelle Element oder hebt die Markierung auf; Umschalt mit einer Pfeiltaste markiert die überstrichenen Zeilen</translation>
    </message>
    <message>
        <source>Show &amp;hidden files</source>
        <translation>&amp;Versteckte Dateien anzeigen</translation>
    </message>
    <message>
        <source>Show files and folders whose names begin with a dot (Ctrl+H)</source>
        <translation>Dateien und Ordner anzeigen, deren Namen mit einem Punkt beginnen (Strg+H)</translation>
    </message>
    <message>
        <source>Show hidden files</source>
        <translation>Versteckte Dateien anzeigen</translation>
    </message>
    <message>
        <source>OK</source>
        <translation>OK</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>Abbrechen</translation>
    </message>
    <message>
        <source>Show in File Manager</source>
        <translation>In der Dateiverwaltung zeigen</translation>
    </message>
    <message>
        <source>Properties</source>
        <translation>Eigenschaften</translation>
    </message>
</context>
<context>
    <name>ContactActionMan</name>
    <message>
        <source>Halvoren Key Files (*.kvxk)</source>
        <translation>Halvoren-Schlüsseldateien (*.kvxk)</translation>
    </message>
    <message>
        <source>Add to Recipients List</source>
        <translation>Zur Empfängerliste hinzufügen</translation>
    </message>
    <message>
        <source>Add New Contact</source>
        <translation>Neuen Kontakt hinzufügen</translation>
    </message>
    <message>
        <source>Export Contact</source>
        <translation>Kontakt exportieren</translation>
    </message>
    <message>
        <source>Remove Contact</source>
        <translation>Kontakt entfernen</translation>
    </message>
    <message>
        <source>Select All</source>
        <translation>Alle auswählen</translation>
    </message>
    <message>
        <source>Clear Selection</source>
        <translation>Auswahl aufheben</translation>
    </message>
    <message>
        <source>Contact Details</source>
        <translation>Kontaktdaten</translation>
    </message>
    <message>
        <source>Contact already exists. Please select another contact key file.</source>
        <translation>Der Kontakt ist bereits vorhanden. Bitte wählen Sie eine andere Schlüsseldatei.</translation>
    </message>
    <message>
        <source>Add Contact Details</source>
        <translation>Kontaktdaten hinzufügen</translation>
    </message>
    <message>
        <source>Contact added successfully.</source>
        <translation>Der Kontakt wurde hinzugefügt.</translation>
    </message>
    <message>
        <source>Open Contact Key File Name</source>
        <translation>Schlüsseldatei eines Kontakts öffnen</translation>
    </message>
    <message>
        <source>Export Contact Key to File</source>
        <translation>Schlüssel des Kontakts in Datei exportieren</translation>
    </message>
    <message>
        <source>Contact exported successfully.</source>
        <translation>Der Kontakt wurde exportiert.</translation>
    </message>
    <message>
        <source>Details</source>
        <translation>Details</translation>
    </message>
    <message>
        <source>Are you sure you want to remove this contact?</source>
        <translation>Möchten Sie diesen Kontakt wirklich entfernen?</translation>
    </message>
    <message>
        <source>The contacts file could not be written.</source>
        <translation>Die Kontaktdatei konnte nicht geschrieben werden.</translation>
    </message>
</context>
<context>
    <name>ContactDetailsDlg</name>
    <message>
        <source>Dialog</source>
        <translation>Dialog</translation>
    </message>
    <message>
        <source>Contact Name</source>
        <translation>Kontaktname</translation>
    </message>
    <message>
        <source>Name</source>
        <translation>Name</translation>
    </message>
    <message>
        <source>The contact&apos;s name, as their key file gives it; required</source>
        <translation>Der Name des Kontakts, wie ihn seine Schlüsseldatei angibt; erforderlich</translation>
    </message>
    <message>
        <source>First Name</source>
        <translation>Vorname</translation>
    </message>
    <message>
        <source>Last Name</source>
        <translation>Nachname</translation>
    </message>
    <message>
        <source>Organization</source>
        <translation>Organisation</translation>
    </message>
    <message>
        <source>Email</source>
        <translation>E-Mail</translation>
    </message>
    <message>
        <source>Comments</source>
        <translation>Kommentare</translation>
    </message>
    <message>
        <source>OK</source>
        <translation>OK</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>Abbrechen</translation>
    </message>
</context>
<context>
    <name>ErrorText</name>
    <message>
        <source>Incorrect function.</source>
        <translation>Falsche Funktion.</translation>
    </message>
    <message>
        <source>The system cannot find the file specified.</source>
        <translation>Die angegebene Datei wurde nicht gefunden.</translation>
    </message>
    <message>
        <source>The system cannot find the path specified.</source>
        <translation>Der angegebene Pfad wurde nicht gefunden.</translation>
    </message>
    <message>
        <source>The system cannot open the file because too many files are open.</source>
        <translation>Die Datei kann nicht geöffnet werden, weil zu viele Dateien geöffnet sind.</translation>
    </message>
    <message>
        <source>Access is denied.</source>
        <translation>Zugriff verweigert.</translation>
    </message>
    <message>
        <source>The handle is invalid.</source>
        <translation>Das Handle ist ungültig.</translation>
    </message>
    <message>
        <source>Not enough memory resources are available to process this command.</source>
        <translation>Für diesen Befehl ist nicht genügend Arbeitsspeicher verfügbar.</translation>
    </message>
    <message>
        <source>An attempt was made to load a program with an incorrect format.</source>
        <translation>Es wurde versucht, ein Programm mit falschem Format zu laden.</translation>
    </message>
    <message>
        <source>The data is invalid.</source>
        <translation>Die Daten sind ungültig.</translation>
    </message>
    <message>
        <source>Not enough memory resources are available to complete this operation.</source>
        <translation>Für diesen Vorgang ist nicht genügend Arbeitsspeicher verfügbar.</translation>
    </message>
    <message>
        <source>The media is write protected.</source>
        <translation>Der Datenträger ist schreibgeschützt.</translation>
    </message>
    <message>
        <source>The device is not ready.</source>
        <translation>Das Gerät ist nicht bereit.</translation>
    </message>
    <message>
        <source>The drive cannot locate a specific area or track on the disk.</source>
        <translation>Das Laufwerk kann einen Bereich oder eine Spur auf dem Datenträger nicht finden.</translation>
    </message>
    <message>
        <source>The system cannot write to the specified device.</source>
        <translation>Auf das angegebene Gerät kann nicht geschrieben werden.</translation>
    </message>
    <message>
        <source>The system cannot read from the specified device.</source>
        <translation>Vom angegebenen Gerät kann nicht gelesen werden.</translation>
    </message>
    <message>
        <source>The process cannot access the file because it is being used by another process.</source>
        <translation>Auf die Datei kann nicht zugegriffen werden, weil ein anderer Prozess sie verwendet.</translation>
    </message>
    <message>
        <source>Reached the end of the file.</source>
        <translation>Das Ende der Datei wurde erreicht.</translation>
    </message>
    <message>
        <source>The disk is full.</source>
        <translation>Der Datenträger ist voll.</translation>
    </message>
    <message>
        <source>The request is not supported.</source>
        <translation>Die Anforderung wird nicht unterstützt.</translation>
    </message>
    <message>
        <source>The file exists.</source>
        <translation>Die Datei ist vorhanden.</translation>
    </message>
    <message>
        <source>The directory or file cannot be created.</source>
        <translation>Das Verzeichnis oder die Datei kann nicht erstellt werden.</translation>
    </message>
    <message>
        <source>The parameter is incorrect.</source>
        <translation>Der Parameter ist falsch.</translation>
    </message>
    <message>
        <source>The pipe has been ended.</source>
        <translation>Die Pipe wurde beendet.</translation>
    </message>
    <message>
        <source>There is not enough space on the disk.</source>
        <translation>Auf dem Datenträger ist nicht genügend Speicherplatz.</translation>
    </message>
    <message>
        <source>The data area passed to a system call is too small.</source>
        <translation>Der an einen Systemaufruf übergebene Datenbereich ist zu klein.</translation>
    </message>
    <message>
        <source>The filename, directory name, or volume label syntax is incorrect.</source>
        <translation>Die Syntax des Datei-, Verzeichnis- oder Datenträgernamens ist falsch.</translation>
    </message>
    <message>
        <source>An attempt was made to move the file pointer before the beginning of the file.</source>
        <translation>Es wurde versucht, den Dateizeiger vor den Anfang der Datei zu setzen.</translation>
    </message>
    <message>
        <source>The directory is not empty.</source>
        <translation>Das Verzeichnis ist nicht leer.</translation>
    </message>
    <message>
        <source>The requested resource is in use.</source>
        <translation>Die angeforderte Ressource wird verwendet.</translation>
    </message>
    <message>
        <source>Cannot create a file when that file already exists.</source>
        <translation>Eine Datei kann nicht erstellt werden, wenn sie bereits vorhanden ist.</translation>
    </message>
    <message>
        <source>The filename or extension is too long.</source>
        <translation>Der Dateiname oder die Erweiterung ist zu lang.</translation>
    </message>
    <message>
        <source>The file size exceeds the limit allowed and cannot be saved.</source>
        <translation>Die Datei überschreitet die zulässige Größe und kann nicht gespeichert werden.</translation>
    </message>
    <message>
        <source>The directory name is invalid.</source>
        <translation>Der Verzeichnisname ist ungültig.</translation>
    </message>
    <message>
        <source>Attempt to access invalid address.</source>
        <translation>Versuch, auf eine ungültige Adresse zuzugreifen.</translation>
    </message>
    <message>
        <source>Arithmetic result exceeded 32 bits.</source>
        <translation>Das arithmetische Ergebnis überschreitet 32 Bit.</translation>
    </message>
    <message>
        <source>The volume for a file has been externally altered so that the opened file is no longer valid.</source>
        <translation>Der Datenträger einer Datei wurde von außen so verändert, dass die geöffnete Datei nicht mehr gültig ist.</translation>
    </message>
    <message>
        <source>The request could not be performed because of an I/O device error.</source>
        <translation>Die Anforderung konnte wegen eines E/A-Gerätefehlers nicht ausgeführt werden.</translation>
    </message>
    <message>
        <source>Element not found.</source>
        <translation>Element nicht gefunden.</translation>
    </message>
    <message>
        <source>The operation was canceled by the user.</source>
        <translation>Der Vorgang wurde vom Benutzer abgebrochen.</translation>
    </message>
    <message>
        <source>This operation returned because the timeout period expired.</source>
        <translation>Der Vorgang wurde beendet, weil die Zeit abgelaufen ist.</translation>
    </message>
    <message>
        <source>Invalid field.</source>
        <translation>Ungültiges Feld.</translation>
    </message>
    <message>
        <source>The file cannot be accessed by the system: it is not a regular file.</source>
        <translation>Auf die Datei kann nicht zugegriffen werden: Sie ist keine normale Datei.</translation>
    </message>
    <message>
        <source>The name of the file cannot be resolved by the system.</source>
        <translation>Der Name der Datei kann nicht aufgelöst werden.</translation>
    </message>
    <message>
        <source>Bad Hash.</source>
        <translation>Ungültiger Hash.</translation>
    </message>
    <message>
        <source>Bad Key.</source>
        <translation>Ungültiger Schlüssel.</translation>
    </message>
    <message>
        <source>Bad Length.</source>
        <translation>Ungültige Länge.</translation>
    </message>
    <message>
        <source>Bad Data.</source>
        <translation>Ungültige Daten.</translation>
    </message>
    <message>
        <source>Key does not exist.</source>
        <translation>Der Schlüssel ist nicht vorhanden.</translation>
    </message>
    <message>
        <source>Your private key can&apos;t be read: its file in the profile&apos;s keys folder is damaged or belongs to another certificate.</source>
        <translation>Ihr privater Schlüssel kann nicht gelesen werden: Seine Datei im Schlüsselordner des Profils ist beschädigt oder gehört zu einem anderen Zertifikat.</translation>
    </message>
    <message>
        <source>An internal error occurred.</source>
        <translation>Ein interner Fehler ist aufgetreten.</translation>
    </message>
    <message>
        <source>The enveloped-data message does not contain the specified recipient.</source>
        <translation>Die verschlüsselte Nachricht enthält den angegebenen Empfänger nicht.</translation>
    </message>
    <message>
        <source>Cannot find object or property.</source>
        <translation>Objekt oder Eigenschaft nicht gefunden.</translation>
    </message>
    <message>
        <source>An error occurred during encode or decode operation.</source>
        <translation>Beim Kodieren oder Dekodieren ist ein Fehler aufgetreten.</translation>
    </message>
    <message>
        <source>Cannot find the requested object.</source>
        <translation>Das angeforderte Objekt wurde nicht gefunden.</translation>
    </message>
    <message>
        <source>The cryptographic message is not of the expected type.</source>
        <translation>Die kryptografische Nachricht hat nicht den erwarteten Typ.</translation>
    </message>
    <message>
        <source>The string contains an invalid X500 name attribute key, object identifier, value or delimiter.</source>
        <translation>Die Zeichenfolge enthält einen ungültigen X500-Attributschlüssel, Objektbezeichner, Wert oder Trenner.</translation>
    </message>
    <message>
        <source>ASN1 bad tag value met.</source>
        <translation>Ungültiger ASN1-Tag-Wert gefunden.</translation>
    </message>
    <message>
        <source>Unknown error 0x%1.</source>
        <translation>Unbekannter Fehler 0x%1.</translation>
    </message>
    <message>
        <source>This file is not a valid Halvoren package file.</source>
        <translation>Diese Datei ist keine gültige Halvoren-Paketdatei.</translation>
    </message>
    <message>
        <source>The package cannot be decrypted. You are not in the list of recipients who can view the files, you will not be able to access it.</source>
        <translation>Das Paket kann nicht entschlüsselt werden. Sie stehen nicht in der Liste der Empfänger, die die Dateien sehen dürfen, und können nicht darauf zugreifen.</translation>
    </message>
</context>
<context>
    <name>FileListDlg</name>
    <message>
        <source>File List to Encrypt</source>
        <translation>Zu verschlüsselnde Dateien</translation>
    </message>
    <message>
        <source>Type here to search</source>
        <translation>Hier tippen, um zu suchen</translation>
    </message>
    <message>
        <source>Add Files...</source>
        <translation>Dateien hinzufügen …</translation>
    </message>
    <message>
        <source>Remove</source>
        <translation>Entfernen</translation>
    </message>
    <message>
        <source>Properties</source>
        <translation>Eigenschaften</translation>
    </message>
    <message>
        <source>Find in Files</source>
        <translation>In Dateien suchen</translation>
    </message>
    <message>
        <source>File list is empty</source>
        <translation>Die Dateiliste ist leer</translation>
    </message>
    <message>
        <source>No results found for: &quot;%1&quot;</source>
        <translation>Keine Treffer für: „%1“</translation>
    </message>
    <message>
        <source>Adding Files...</source>
        <translation>Dateien werden hinzugefügt …</translation>
    </message>
</context>
<context>
    <name>ItemActions</name>
    <message>
        <source>Name:</source>
        <translation>Name:</translation>
    </message>
    <message>
        <source>Folder:</source>
        <translation>Ordner:</translation>
    </message>
    <message>
        <source>Kind:</source>
        <translation>Art:</translation>
    </message>
    <message>
        <source>Not found</source>
        <translation>Nicht gefunden</translation>
    </message>
    <message>
        <source>Folder</source>
        <translation>Ordner</translation>
    </message>
    <message>
        <source>Size:</source>
        <translation>Größe:</translation>
    </message>
    <message>
        <source>%1 (%2 bytes)</source>
        <translation>%1 (%2 Byte)</translation>
    </message>
    <message>
        <source>Modified:</source>
        <translation>Geändert:</translation>
    </message>
    <message>
        <source>Permissions:</source>
        <translation>Berechtigungen:</translation>
    </message>
    <message>
        <source>Properties</source>
        <translation>Eigenschaften</translation>
    </message>
</context>
<context>
    <name>Launch</name>
    <message>
        <source>%1 could not be started: %2</source>
        <translation>%1 konnte nicht gestartet werden: %2</translation>
    </message>
    <message>
        <source>%1 ended with an error (%2)</source>
        <translation>%1 endete mit einem Fehler (%2)</translation>
    </message>
    <message>
        <source>no program to open it was found (xdg-open is not installed)</source>
        <translation>es wurde kein Programm zum Öffnen gefunden (xdg-open ist nicht installiert)</translation>
    </message>
</context>
<context>
    <name>MainWindow</name>
    <message>
        <source>Halvoren</source>
        <translation>Halvoren</translation>
    </message>
    <message>
        <source>Selected Recipients:</source>
        <translation>Ausgewählte Empfänger:</translation>
    </message>
    <message>
        <source>Available recipients</source>
        <translation>Verfügbare Empfänger</translation>
    </message>
    <message>
        <source>Your contacts. Move those who may open the package to the selected recipients.</source>
        <translation>Ihre Kontakte. Verschieben Sie diejenigen, die das Paket öffnen dürfen, zu den ausgewählten Empfängern.</translation>
    </message>
    <message>
        <source>Progress</source>
        <translation>Fortschritt</translation>
    </message>
    <message>
        <source>How far the running encryption or decryption is.</source>
        <translation>Wie weit die laufende Ver- oder Entschlüsselung ist.</translation>
    </message>
    <message>
        <source>Status</source>
        <translation>Status</translation>
    </message>
    <message>
        <source>Drop area</source>
        <translation>Ablagebereich</translation>
    </message>
    <message>
        <source>Drop files, folders or a package here. Press Enter or double-click to see the files to encrypt.</source>
        <translation>Legen Sie hier Dateien, Ordner oder ein Paket ab. Drücken Sie die Eingabetaste oder doppelklicken Sie, um die zu verschlüsselnden Dateien zu sehen.</translation>
    </message>
    <message>
        <source>Search contacts</source>
        <translation>Kontakte suchen</translation>
    </message>
    <message>
        <source>Shows only the available recipients whose names hold what you type.</source>
        <translation>Zeigt nur die verfügbaren Empfänger, deren Namen das Eingegebene enthalten.</translation>
    </message>
    <message>
        <source>Encrypt or decrypt</source>
        <translation>Verschlüsseln oder entschlüsseln</translation>
    </message>
    <message>
        <source>Starts the encryption or decryption of the package in hand, or cancels it while it runs.</source>
        <translation>Startet die Ver- oder Entschlüsselung des aktuellen Pakets oder bricht sie ab, während sie läuft.</translation>
    </message>
    <message>
        <source>Selected recipients</source>
        <translation>Ausgewählte Empfänger</translation>
    </message>
    <message>
        <source>Only these contacts can open the package.</source>
        <translation>Nur diese Kontakte können das Paket öffnen.</translation>
    </message>
    <message>
        <source>&lt;html&gt;&lt;head/&gt;&lt;body&gt;&lt;p&gt;Available Recipients:&lt;/p&gt;&lt;/body&gt;&lt;/html&gt;</source>
        <translation>&lt;html&gt;&lt;head/&gt;&lt;body&gt;&lt;p&gt;Verfügbare Empfänger:&lt;/p&gt;&lt;/body&gt;&lt;/html&gt;</translation>
    </message>
    <message>
        <source>&amp;Halvoren</source>
        <translation>&amp;Halvoren</translation>
    </message>
    <message>
        <source>&amp;Help</source>
        <translation>&amp;Hilfe</translation>
    </message>
    <message>
        <source>&amp;Package</source>
        <translation>&amp;Paket</translation>
    </message>
    <message>
        <source>&amp;Edit Your Profile...</source>
        <translation>&amp;Profil bearbeiten …</translation>
    </message>
    <message>
        <source>Ctrl+P</source>
        <translation>Ctrl+P</translation>
    </message>
    <message>
        <source>E&amp;mail Your Key</source>
        <translation>Schlüssel per E-&amp;Mail senden</translation>
    </message>
    <message>
        <source>Ctrl+S</source>
        <translation>Ctrl+S</translation>
    </message>
    <message>
        <source>Add New &amp;Contact</source>
        <translation>Neuen &amp;Kontakt hinzufügen</translation>
    </message>
    <message>
        <source>&amp;Options...</source>
        <translation>&amp;Einstellungen …</translation>
    </message>
    <message>
        <source>&amp;Quit</source>
        <translation>&amp;Beenden</translation>
    </message>
    <message>
        <source>&amp;New</source>
        <translation>&amp;Neu</translation>
    </message>
    <message>
        <source>Ctrl+N</source>
        <translation>Ctrl+N</translation>
    </message>
    <message>
        <source>&amp;Open</source>
        <translation>Ö&amp;ffnen</translation>
    </message>
    <message>
        <source>Ctrl+O</source>
        <translation>Ctrl+O</translation>
    </message>
    <message>
        <source>&amp;Add Files...</source>
        <translation>Dateien &amp;hinzufügen …</translation>
    </message>
    <message>
        <source>Ctrl+B</source>
        <translation>Ctrl+B</translation>
    </message>
    <message>
        <source>&amp;View Files...</source>
        <translation>Dateien &amp;anzeigen …</translation>
    </message>
    <message>
        <source>Ctrl+V</source>
        <translation>Ctrl+V</translation>
    </message>
    <message>
        <source>Help &amp;Topics</source>
        <translation>Hilfe&amp;themen</translation>
    </message>
    <message>
        <source>Check for &amp;Updates</source>
        <translation>Nach &amp;Aktualisierungen suchen</translation>
    </message>
    <message>
        <source>Give Us &amp;Feedback</source>
        <translation>&amp;Rückmeldung geben</translation>
    </message>
    <message>
        <source>&amp;About Halvoren</source>
        <translation>Ü&amp;ber Halvoren</translation>
    </message>
    <message>
        <source>&amp;Close</source>
        <translation>&amp;Schließen</translation>
    </message>
    <message>
        <source>An error occurred during application startup. Do you want to reset all changes that were made?</source>
        <translation>Beim Start des Programms ist ein Fehler aufgetreten. Möchten Sie alle vorgenommenen Änderungen zurücksetzen?</translation>
    </message>
    <message>
        <source>an unknown contact</source>
        <translation>einem unbekannten Kontakt</translation>
    </message>
    <message>
        <source>The certificate of %1 can&apos;t be read: %2 (%3)</source>
        <translation>Das Zertifikat von %1 kann nicht gelesen werden: %2 (%3)</translation>
    </message>
    <message>
        <source>These contacts are left out of the lists. Import their key files again to repair them; the damaged files stay where they are.</source>
        <translation>Diese Kontakte werden in den Listen nicht angezeigt. Importieren Sie ihre Schlüsseldateien erneut, um sie zu reparieren; die beschädigten Dateien bleiben, wo sie sind.</translation>
    </message>
    <message>
        <source>Type here to search</source>
        <translation>Hier tippen, um zu suchen</translation>
    </message>
    <message>
        <source>Encrypt and Email</source>
        <translation>Verschlüsseln und per E-Mail senden</translation>
    </message>
    <message>
        <source>Drop &lt;b&gt;Files&lt;/b&gt; or &lt;b&gt;Package&lt;/b&gt; Here</source>
        <translation>&lt;b&gt;Dateien&lt;/b&gt; oder &lt;b&gt;Paket&lt;/b&gt; hier ablegen</translation>
    </message>
    <message>
        <source>Press &lt;b&gt;Decrypt&lt;/b&gt; Button to Extract Files</source>
        <translation>Klicken Sie auf &lt;b&gt;Entschlüsseln&lt;/b&gt;, um die Dateien zu entpacken</translation>
    </message>
    <message>
        <source>&lt;b&gt;Double-Click&lt;/b&gt; Here to View Files</source>
        <translation>Hier &lt;b&gt;doppelklicken&lt;/b&gt;, um die Dateien zu sehen</translation>
    </message>
    <message>
        <source>Ready</source>
        <translation>Bereit</translation>
    </message>
    <message>
        <source>Add to recipients</source>
        <translation>Zu den Empfängern hinzufügen</translation>
    </message>
    <message>
        <source>Moves the selected contacts to the selected recipients.</source>
        <translation>Verschiebt die markierten Kontakte zu den ausgewählten Empfängern.</translation>
    </message>
    <message>
        <source>Remove from recipients</source>
        <translation>Aus den Empfängern entfernen</translation>
    </message>
    <message>
        <source>Moves the selected recipients back to the available ones.</source>
        <translation>Verschiebt die markierten Empfänger zurück zu den verfügbaren.</translation>
    </message>
    <message>
        <source>The settings file %1 can&apos;t be read.</source>
        <translation>Die Einstellungsdatei %1 kann nicht gelesen werden.</translation>
    </message>
    <message>
        <source>The contacts file %1 can&apos;t be read or created.</source>
        <translation>Die Kontaktdatei %1 kann weder gelesen noch erstellt werden.</translation>
    </message>
    <message>
        <source>The settings file %1 can&apos;t be read. It was kept as %2, and %3 starts with its default options.</source>
        <translation>Die Einstellungsdatei %1 kann nicht gelesen werden. Sie wurde als %2 aufbewahrt, und %3 startet mit den Standardeinstellungen.</translation>
    </message>
    <message>
        <source>The settings didn&apos;t name your own identity. &quot;%1&quot; was recognised by its key%2.</source>
        <translation>Die Einstellungen nannten Ihre eigene Identität nicht. „%1“ wurde an seinem Schlüssel erkannt%2.</translation>
    </message>
    <message>
        <source> and written back to the settings</source>
        <translation> und in die Einstellungen zurückgeschrieben</translation>
    </message>
    <message>
        <source>Enter Your Own Contact Information</source>
        <translation>Eigene Kontaktdaten eingeben</translation>
    </message>
    <message>
        <source>Your identity can&apos;t be made: %1</source>
        <translation>Ihre Identität kann nicht erstellt werden: %1</translation>
    </message>
    <message>
        <source>the profile can&apos;t be written.</source>
        <translation>Das Profil kann nicht geschrieben werden.</translation>
    </message>
    <message>
        <source>The contacts file %1 can&apos;t be read.</source>
        <translation>Die Kontaktdatei %1 kann nicht gelesen werden.</translation>
    </message>
    <message>
        <source>Check that the folder %1 exists and that you may write to it, then start %2 again.</source>
        <translation>Prüfen Sie, ob der Ordner %1 vorhanden ist und Sie darin schreiben dürfen, und starten Sie %2 dann erneut.</translation>
    </message>
    <message>
        <source>&amp;Restore</source>
        <translation>&amp;Wiederherstellen</translation>
    </message>
    <message>
        <source>&amp;About</source>
        <translation>Ü&amp;ber</translation>
    </message>
    <message>
        <source>Encrypt</source>
        <translation>Verschlüsseln</translation>
    </message>
    <message>
        <source>Decrypt</source>
        <translation>Entschlüsseln</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>Abbrechen</translation>
    </message>
    <message>
        <source>Adding Files...</source>
        <translation>Dateien werden hinzugefügt …</translation>
    </message>
    <message>
        <source>Adding files was stopped; nothing was added.</source>
        <translation>Das Hinzufügen wurde abgebrochen; es wurde nichts hinzugefügt.</translation>
    </message>
    <message>
        <source>Halvoren is still running. To close it, use Halvoren → Quit. To keep the window on the taskbar, turn on Halvoren → Options → Do not hide when minimized.</source>
        <translation>Halvoren läuft weiter. Zum Beenden wählen Sie Halvoren → Beenden. Damit das Fenster in der Taskleiste bleibt, schalten Sie Halvoren → Einstellungen → Beim Minimieren nicht ausblenden ein.</translation>
    </message>
    <message>
        <source>Emailing: %1</source>
        <translation>Per E-Mail: %1</translation>
    </message>
    <message>
        <source>An error occurred during sending contact key file.</source>
        <translation>Beim Senden der Schlüsseldatei ist ein Fehler aufgetreten.</translation>
    </message>
    <message>
        <source>Emailing: %1 %2 Key File.</source>
        <translation>Per E-Mail: Schlüsseldatei von %1 %2.</translation>
    </message>
    <message>
        <source>Save Halvoren Package as...</source>
        <translation>Halvoren-Paket speichern unter …</translation>
    </message>
    <message>
        <source>Halvoren Package File (*.kvx)</source>
        <translation>Halvoren-Paketdatei (*.kvx)</translation>
    </message>
    <message>
        <source>%1 already exists.
Do you want to replace it?</source>
        <translation>%1 ist bereits vorhanden.
Möchten Sie die Datei ersetzen?</translation>
    </message>
    <message>
        <source>Open Package File</source>
        <translation>Paketdatei öffnen</translation>
    </message>
    <message>
        <source>The list of Recipients is empty. Choose who you want to encrypt files for by adding their contacts to Recipients list</source>
        <translation>Die Empfängerliste ist leer. Wählen Sie, für wen Sie Dateien verschlüsseln möchten, indem Sie die Kontakte zur Empfängerliste hinzufügen</translation>
    </message>
    <message>
        <source>You have no contact of your own to encrypt for. Add recipients to the Recipients list, or edit your profile.</source>
        <translation>Sie haben keinen eigenen Kontakt, für den verschlüsselt werden kann. Fügen Sie der Empfängerliste Empfänger hinzu oder bearbeiten Sie Ihr Profil.</translation>
    </message>
    <message>
        <source>These files have a backslash in their names, which a package can&apos;t keep (it separates folders there). Rename them or remove them from the package:
%1</source>
        <translation>Diese Dateien haben einen umgekehrten Schrägstrich im Namen, den ein Paket nicht aufnehmen kann (dort trennt er Ordner). Benennen Sie sie um oder entfernen Sie sie aus dem Paket:
%1</translation>
    </message>
    <message>
        <source>These files would have the same name in the package, so one would replace the other when it is opened. Rename one of each pair or remove it from the package:

%1</source>
        <translation>Diese Dateien hätten im Paket denselben Namen, sodass beim Öffnen eine die andere ersetzen würde. Benennen Sie je eine Datei jedes Paars um oder entfernen Sie sie aus dem Paket:

%1</translation>
    </message>
    <message>
        <source>The package can&apos;t be saved as %1: that file is one of the files to encrypt. Choose another name for the package.</source>
        <translation>Das Paket kann nicht als %1 gespeichert werden: Diese Datei gehört zu den zu verschlüsselnden Dateien. Wählen Sie einen anderen Namen für das Paket.</translation>
    </message>
    <message>
        <source>
... and %1 more</source>
        <translation>
… und %1 weitere</translation>
    </message>
    <message>
        <source>Select a folder to extract the files</source>
        <translation>Ordner zum Entpacken der Dateien wählen</translation>
    </message>
    <message>
        <source>Encryption...</source>
        <translation>Verschlüsselung …</translation>
    </message>
    <message>
        <source>Decryption...</source>
        <translation>Entschlüsselung …</translation>
    </message>
    <message>
        <source>Hashing...</source>
        <translation>Prüfsumme wird berechnet …</translation>
    </message>
    <message>
        <source>Writing File: </source>
        <translation>Datei wird geschrieben: </translation>
    </message>
    <message>
        <source>Extracting File: </source>
        <translation>Datei wird entpackt: </translation>
    </message>
    <message>
        <source>An error occurred while processing:&lt;br&gt;</source>
        <translation>Bei der Verarbeitung ist ein Fehler aufgetreten:&lt;br&gt;</translation>
    </message>
    <message>
        <source>Continue</source>
        <translation>Fortfahren</translation>
    </message>
    <message>
        <source>Stopped. No package was written.</source>
        <translation>Abgebrochen. Es wurde kein Paket geschrieben.</translation>
    </message>
    <message>
        <source>Failed. No package was written.</source>
        <translation>Fehlgeschlagen. Es wurde kein Paket geschrieben.</translation>
    </message>
    <message>
        <source>Encryption</source>
        <translation>Verschlüsselung</translation>
    </message>
    <message>
        <source>Decryption</source>
        <translation>Entschlüsselung</translation>
    </message>
    <message>
        <source>The process of %1 has been completed successfully.</source>
        <translation>Die %1 wurde erfolgreich abgeschlossen.</translation>
    </message>
    <message>
        <source>The process of %1 failed.</source>
        <translation>Die %1 ist fehlgeschlagen.</translation>
    </message>
    <message>
        <source>
Click for more details.</source>
        <translation>
Klicken Sie für weitere Details.</translation>
    </message>
    <message>
        <source>Done!</source>
        <translation>Fertig!</translation>
    </message>
    <message>
        <source>Details</source>
        <translation>Details</translation>
    </message>
    <message>
        <source>xdg-email, which hands messages to the mail program, is not installed</source>
        <translation>xdg-email, das Nachrichten an das E-Mail-Programm übergibt, ist nicht installiert</translation>
    </message>
    <message>
        <source>The user guide could not be opened: %1.

You can open it in a web browser yourself:
%2</source>
        <translation>Die Anleitung konnte nicht geöffnet werden: %1.

Sie können sie selbst in einem Webbrowser öffnen:
%2</translation>
    </message>
    <message>
        <source>The page could not be opened: %1.

You can open this address in a web browser yourself:
%2</source>
        <translation>Die Seite konnte nicht geöffnet werden: %1.

Sie können diese Adresse selbst in einem Webbrowser öffnen:
%2</translation>
    </message>
    <message>
        <source>Show in File Manager</source>
        <translation>In der Dateiverwaltung zeigen</translation>
    </message>
    <message>
        <source>The package could not be handed to a mail program: %1.

It was saved as %2; attach it to a message yourself.</source>
        <translation>Das Paket konnte keinem E-Mail-Programm übergeben werden: %1.

Es wurde als %2 gespeichert; hängen Sie es selbst an eine Nachricht an.</translation>
    </message>
    <message>
        <source>Your key file could not be handed to a mail program: %1.

It was saved as %2; attach it to a message yourself.</source>
        <translation>Ihre Schlüsseldatei konnte keinem E-Mail-Programm übergeben werden: %1.

Sie wurde als %2 gespeichert; hängen Sie sie selbst an eine Nachricht an.</translation>
    </message>
</context>
<context>
    <name>OptionsDialog</name>
    <message>
        <source>Options</source>
        <translation>Einstellungen</translation>
    </message>
    <message>
        <source>Start application when I log in.</source>
        <translation>Programm bei der Anmeldung starten.</translation>
    </message>
    <message>
        <source>Do not hide when minimized.</source>
        <translation>Beim Minimieren nicht ausblenden.</translation>
    </message>
    <message>
        <source>Automatically encrypt files for myself.</source>
        <translation>Dateien automatisch auch für mich verschlüsseln.</translation>
    </message>
    <message>
        <source>Do not notify when operation is completed.</source>
        <translation>Nicht benachrichtigen, wenn ein Vorgang abgeschlossen ist.</translation>
    </message>
</context>
<context>
    <name>ProgressDialog</name>
    <message>
        <source>Dialog</source>
        <translation>Dialog</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>Abbrechen</translation>
    </message>
</context>
<context>
    <name>RecipientActionMan</name>
    <message>
        <source>Remove</source>
        <translation>Entfernen</translation>
    </message>
    <message>
        <source>Select All</source>
        <translation>Alle auswählen</translation>
    </message>
    <message>
        <source>Clear Selection</source>
        <translation>Auswahl aufheben</translation>
    </message>
    <message>
        <source>Contact Details</source>
        <translation>Kontaktdaten</translation>
    </message>
</context>
<context>
    <name>SearchingDialog</name>
    <message>
        <source>Dialog</source>
        <translation>Dialog</translation>
    </message>
    <message>
        <source>&lt;html&gt;&lt;head/&gt;&lt;body&gt;&lt;p&gt;&lt;span style=&quot; font-size:10pt;&quot;&gt;Searching...&lt;/span&gt;&lt;/p&gt;&lt;/body&gt;&lt;/html&gt;</source>
        <translation>&lt;html&gt;&lt;head/&gt;&lt;body&gt;&lt;p&gt;&lt;span style=&quot; font-size:10pt;&quot;&gt;Suche läuft …&lt;/span&gt;&lt;/p&gt;&lt;/body&gt;&lt;/html&gt;</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>Abbrechen</translation>
    </message>
</context>
<context>
    <name>StatusText</name>
    <message>
        <source>entry &quot;%1&quot;: </source>
        <translation>Eintrag „%1“: </translation>
    </message>
    <message>
        <source>%1: %2</source>
        <translation>%1: %2</translation>
    </message>
    <message>
        <source>%1%2; nothing was extracted</source>
        <translation>%1%2; es wurde nichts entpackt</translation>
    </message>
    <message>
        <source>refusing to follow a symbolic link</source>
        <translation>einem symbolischen Link wird nicht gefolgt</translation>
    </message>
    <message>
        <source>the file got shorter while it was being read</source>
        <translation>die Datei wurde beim Lesen kürzer</translation>
    </message>
    <message>
        <source>the package would replace this file, which goes into it</source>
        <translation>das Paket würde diese Datei ersetzen, die selbst in das Paket kommt</translation>
    </message>
</context>
</TS>
